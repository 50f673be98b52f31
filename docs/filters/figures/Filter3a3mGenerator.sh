awk 'BEGIN {
  print "t,yaw,pitch,roll"
  OFS = ","
  for (i = 0; i < 1801; i++) {
    t = i * 0.01
    print t, 80 * sin(0.6 * t), t < 6 ? 0 : 40 * sin(t - 6), t < 12 ? 0 : 20 * sin(2 * (t - 12))
  }
}' >recording.csv
kavelin run Filter3a3mGenerator.json --quiet --plot Filter3a3mGenerator.svg
