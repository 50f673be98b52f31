awk 'BEGIN {
  print "t,mx,my,mz,turned"
  for (i = 0; i < 2600; i++) {
    t = i * 0.01
    yaw = t / 2; yaw -= int(yaw / 6.2831853) * 6.2831853; if (yaw > 3.14159265) yaw -= 6.2831853
    tilt = t < 13 ? 0 : 0.35
    x = 20 * cos(yaw); y = -20 * sin(yaw); z = -43
    printf "%.2f,%.4f,%.4f,%.4f,%.4f\n", t, x, y * cos(tilt) + z * sin(tilt), -y * sin(tilt) + z * cos(tilt), yaw
  }
}' >recording.csv
kavelin run FilterCompass.json --quiet --plot FilterCompass.svg
