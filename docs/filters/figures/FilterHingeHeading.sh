awk -f examples/turns.awk -f - >recording.csv <<'END'
BEGIN {
  print "t,dw,dx,dy,dz,gw,gx,gy,gz"
  for (t = 0; t < 40; t += 0.02) {
    start(); about("y", 10 * sin(t)); about("x", 90)
    thigh = text()
    start(); about("z", t < 10 ? 0 : t < 30 ? t - 10 : 20); about("y", 10 * sin(t)); about("x", 90); about("z", 30 - 30 * cos(2 * t))
    print t "," thigh "," text()
  }
}
END
kavelin run FilterHingeHeading.json --quiet --plot FilterHingeHeading.svg
