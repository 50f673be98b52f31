awk -f examples/turns.awk -f - >recording.csv <<'END'
BEGIN {
  print "t,dw,dx,dy,dz,gw,gx,gy,gz,bend"
  for (t = 0; t < 12; t += 0.02) {
    bend = 30 - 30 * cos(2 * t)
    start(); about("z", 20 * t); about("y", 15 * sin(t)); about("x", 80)
    thigh = text()
    about("z", bend); about("x", 4 * sin(5 * t))
    print t "," thigh "," text() "," bend
  }
}
END
kavelin run FilterAngleDG.json --quiet --plot FilterAngleDG.svg
