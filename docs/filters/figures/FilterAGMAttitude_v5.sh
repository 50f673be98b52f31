kavelin simulate --seed 2 --gyro-bias 0 --gyro-noise 0.001 --acc-noise 0.01 --mag-noise 0.05 --burst 0 --disturbance 0 -o recording.csv
kavelin run FilterAGMAttitude_v5.json --quiet --plot FilterAGMAttitude_v5.svg
