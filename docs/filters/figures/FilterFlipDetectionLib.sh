awk 'function noise() {seed = (seed * 1103 + 12345) % 65536; return seed / 32768 - 1}
BEGIN {
  print "t,ax,ay,az,on,off"
  for (i = 0; i < 1700; i++) {
    t = i * 0.01
    turned = t < 3 ? 0 : t < 4 ? 180 * (t - 3) : t < 9 ? 180 : t < 10 ? 180 * (10 - t) : t < 13 ? 0 : t < 14 ? 90 * (t - 13) : 90
    a = turned * 3.14159265358979 / 180
    shake = (t > 6 && t < 7) ? 9 * sin(20 * t) : 0
    printf "%.2f,%.4f,%.4f,%.4f,120,60\n", t, 0.5 * noise(), 9.81 * sin(a) + 0.5 * noise(), 9.81 * cos(a) + shake + 0.5 * noise()
  }
}' >recording.csv
kavelin run FilterFlipDetectionLib.json --quiet --plot FilterFlipDetectionLib.svg
