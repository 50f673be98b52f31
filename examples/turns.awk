# Quaternions for recordings made by awk: start(), then about(axis, degrees) for each turn, from the right; text() is w,x,y,z.
function turn(w, x, y, z) {
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
