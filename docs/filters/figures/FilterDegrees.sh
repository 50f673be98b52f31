awk 'BEGIN {
  print "t,angle"
  for (i = 0; i < 1000; i++) {
    t = i * 0.01
    print t "," 2 * sin(t)
  }
}' >recording.csv
kavelin run FilterDegrees.json --quiet --plot FilterDegrees.svg
