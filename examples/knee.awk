# awk -f knee.awk writes simulated units, 40 s at 100 Hz, still for 4 s. thigh.csv and shank.csv are those of a knee: the thigh swings
# about its y axis, the hinge, the knee bends by up to 60 degrees about it, and both turn and lean. worn.csv is that of a shank alone,
# of which only the knee bends.
function noise(sigma) {
  seed = (seed * 1103 + 12345) % 65536
  return sigma * (seed / 32768 - 1)
}
# Turns v about y into the unit's frame.
function tilted(x, z, angle) {
  vx = x * cos(angle) - z * sin(angle)
  vz = x * sin(angle) + z * cos(angle)
}
# A unit that is turned about the vertical, leans about x, and tilts about its y axis, rad; rates in rad/s.
function row(file, turn, turn_rate, lean, lean_rate, tilt, tilt_rate) {
  tilted(0, 9.81 * cos(lean), tilt)
  printf "%.2f,%.4f,%.4f,%.4f,", t, vx + noise(0.05), 9.81 * sin(lean) + noise(0.05), vz + noise(0.05) >file
  tilted(lean_rate, turn_rate * cos(lean), tilt)
  printf "%.5f,%.5f,%.5f,", vx + noise(0.003), tilt_rate + turn_rate * sin(lean) + noise(0.003), vz + noise(0.003) >file
  north = 20 * cos(turn)
  tilted(20 * sin(turn), -43 * cos(lean) - north * sin(lean), tilt)
  printf "%.4f,%.4f,%.4f\n", vx + noise(0.2), north * cos(lean) - 43 * sin(lean) + noise(0.2), vz + noise(0.2) >file
}
BEGIN {
  header = "t,ax,ay,az,gx,gy,gz,mx,my,mz"
  print header >"thigh.csv"
  print header >"shank.csv"
  print header >"worn.csv"
  for (i = 0; i < 4000; i++) {
    t = i / 100
    s = t < 4 ? 0 : t - 4
    turn = sin(0.7 * s) ^ 2
    turn_rate = 0.7 * sin(1.4 * s)
    lean = 0.5 * sin(0.9 * s) ^ 2
    lean_rate = 0.45 * sin(1.8 * s)
    swing = 0.44 * sin(s) ^ 3
    swing_rate = 1.32 * sin(s) ^ 2 * cos(s)
    bend = 1.05 * sin(1.4 * s) ^ 2
    bend_rate = 1.47 * sin(2.8 * s)
    row("thigh.csv", turn, turn_rate, lean, lean_rate, swing, swing_rate)
    row("shank.csv", turn, turn_rate, lean, lean_rate, swing + bend, swing_rate + bend_rate)
    row("worn.csv", 0, 0, 0, 0, bend, bend_rate)
  }
}
