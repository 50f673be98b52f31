kavelin simulate --seed 3 --gyro-bias 0.005 -o recording.csv
kavelin run FilterAGMAttitude_v6.json --quiet --plot FilterAGMAttitude_v6.svg
