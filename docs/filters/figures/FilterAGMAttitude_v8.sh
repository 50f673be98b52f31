kavelin simulate --seed 4 --first-rest 1 --seconds 50 --gyro-bias 0 --gyro-offset 0.03,-0.02,0.01 --disturbance 0 -o recording.csv
kavelin run FilterAGMAttitude_v8.json --quiet --plot FilterAGMAttitude_v8.svg
