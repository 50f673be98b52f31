awk 'BEGIN {
  print "t,angle"
  for (i = 0; i < 1600; i++) {
    t = i * 0.01
    turned = t < 8 ? 2 * t + sin(t) : 16 + sin(8) - 1.5 * (t - 8)
    print t "," atan2(sin(turned), cos(turned))
  }
}' >recording.csv
kavelin run FilterCumulAngles.json --quiet --plot FilterCumulAngles.svg
