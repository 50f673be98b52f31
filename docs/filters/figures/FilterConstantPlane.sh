awk 'function noise() {seed = (seed * 1103 + 12345) % 65536; return seed / 32768 - 1}
BEGIN {
  print "t,mx,my,mz,turned"
  for (i = 0; i < 1600; i++) {
    t = i * 0.01
    yaw = t < 2 ? 0 : t < 8 ? 30 * (t - 2) : 180 - 60 * (t - 8); if (t > 12) yaw = -60
    a = yaw * 3.14159265358979 / 180
    printf "%.2f,%.4f,%.4f,%.4f,%.2f\n", t, 20 * cos(a) + 0.3 * noise(), -20 * sin(a) + 0.3 * noise(), -43 + 0.3 * noise(), yaw
  }
}' >recording.csv
kavelin run FilterConstantPlane.json --quiet --plot FilterConstantPlane.svg
