awk 'function noise() {seed = (seed * 1103 + 12345) % 65536; return seed / 32768 - 1}
BEGIN {
  print "t,qw,qx,qy,qz"
  for (i = 0; i < 300; i++) {
    t = i * 0.02
    angle = t < 1 ? 0 : t < 3 ? 2 * (t - 1) : 4
    if (i == 25) angle += 5
    half = angle * 3.14159265358979 / 360 + (t > 3.5 ? 0.004 * noise() : 0)
    printf "%.2f,%.8f,0,0,%.8f\n", t, cos(half), sin(half)
  }
}' >recording.csv
kavelin run FilterQuaternionFilter.json --quiet --plot FilterQuaternionFilter.svg
