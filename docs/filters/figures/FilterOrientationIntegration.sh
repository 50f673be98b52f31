awk 'BEGIN {
  print "t,gx,gy,gz,bx,by,bz,qw,qx,qy,qz"
  for (i = 0; i < 500; i++) {
    t = i * 0.04
    rate = 2 * sin(1.5 * t) + sin(5 * t); half = (2 / 1.5 * (1 - cos(1.5 * t)) + (1 - cos(5 * t)) / 5) / 2
    printf "%.2f,0,0,%.9f,0,0,%.9f,%.12f,0,0,%.12f\n", t, rate, rate + 0.0175, cos(half), sin(half)
  }
}' >recording.csv
kavelin run FilterOrientationIntegration.json --quiet --plot FilterOrientationIntegration.svg
