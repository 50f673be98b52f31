awk 'function noise() {seed = (seed * 1103 + 12345) % 65536; return seed / 32768 - 1}
BEGIN {
  print "t,error,moving,time"
  for (i = 0; i < 1600; i++) {
    t = i * 0.01
    error = t < 4 ? 20 + 3 * sin(7 * t) : 1 + 20 * exp(4 - t)
    printf "%.2f,%.4f,%d,%.2f\n", t, error + 0.1 * noise(), (t >= 4), t
  }
}' >recording.csv
kavelin run FilterConvergenceTime.json --quiet --plot FilterConvergenceTime.svg
