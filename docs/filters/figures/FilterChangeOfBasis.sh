awk 'BEGIN {
  print "t,p1,p2,p3,p4,p5,p6,p7,p8,p9,qw,qx,qy,qz"
  for (i = 0; i < 1200; i++) {
    t = i * 0.01
    turn = t < 5 ? 0 : 45 - 45 * cos(t - 5)
    half = turn * 3.14159265358979 / 360
    print t (i == 0 ? ",0,0,1,1,0,0,0,1,0," : ",,,,,,,,,,") cos(half) "," sin(half) ",0,0"
  }
}' >recording.csv
kavelin run FilterChangeOfBasis.json --quiet --plot FilterChangeOfBasis.svg
