kavelin simulate --seed 3 --seconds 30 --gyro-bias 0 --gyro-noise 0 -o whole.csv
# Acceleration and field at the start alone, while the unit lies still.
awk -F, 'NR > 1 && $1 > 1 {for (i = 2; i <= NF; i++) if (i < 5 || (i > 7 && i < 11)) $i = ""} {print}' OFS=, whole.csv >recording.csv
kavelin run FilterAbsoluteAttitude.json --quiet --plot FilterAbsoluteAttitude.svg
