awk 'function noise() {seed = (seed * 1103 + 12345) % 65536; return seed / 32768 - 1}
BEGIN {
  print "t,ax,ay,az,pitch"
  for (i = 0; i < 1400; i++) {
    t = i * 0.01
    pitch = t < 2 ? 0 : t < 6 ? 10 * (t - 2) : 40
    a = pitch * 3.14159265358979 / 180
    push = (t > 9 && t < 12) ? 3 * sin(6 * t) : 0
    printf "%.2f,%.4f,%.4f,%.4f,%.2f\n", t, -9.81 * sin(a) + push + 0.1 * noise(), 0.1 * noise(), 9.81 * cos(a) + 0.1 * noise(), pitch
  }
}' >recording.csv
kavelin run FilterInclinometer.json --quiet --plot FilterInclinometer.svg
