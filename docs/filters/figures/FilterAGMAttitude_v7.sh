kavelin simulate --seed 4 --gyro-bias 0 --gyro-offset 0.03,-0.02,0.03 -o recording.csv
kavelin run FilterAGMAttitude_v7.json --quiet --plot FilterAGMAttitude_v7.svg
