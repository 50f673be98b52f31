awk 'function turn(w, x, y, z) {  # multiplies q by a turn from the right
  a = qw * w - qx * x - qy * y - qz * z; b = qw * x + qx * w + qy * z - qz * y
  c = qw * y - qx * z + qy * w + qz * x; d = qw * z + qx * y - qy * x + qz * w
  qw = a; qx = b; qy = c; qz = d
}
function about(axis, angle) {
  angle *= 3.14159265358979 / 360
  turn(cos(angle), axis == "x" ? sin(angle) : 0, axis == "y" ? sin(angle) : 0, axis == "z" ? sin(angle) : 0)
}
function start() {qw = 1; qx = qy = qz = 0}
function text() {return sprintf("%.9f,%.9f,%.9f,%.9f", qw, qx, qy, qz)}
BEGIN {
  print "t,dw,dx,dy,dz,gw,gx,gy,gz"
  for (t = 0; t < 40; t += 0.02) {
    start(); about("y", 10 * sin(t)); about("x", 90)
    thigh = text()
    start(); about("z", t < 10 ? 0 : t < 30 ? t - 10 : 20); about("y", 10 * sin(t)); about("x", 90); about("z", 30 - 30 * cos(2 * t))
    print t "," thigh "," text()
  }
}' >recording.csv
kavelin run FilterHingeHeading.json --quiet --plot FilterHingeHeading.svg
