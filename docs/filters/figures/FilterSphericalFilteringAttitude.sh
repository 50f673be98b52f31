kavelin simulate --seed 3 --gyro-bias 0.02 --mag-noise 0.1 --disturbance 40 --burst 0 -o recording.csv
kavelin run FilterSphericalFilteringAttitude.json --quiet --plot FilterSphericalFilteringAttitude.svg
