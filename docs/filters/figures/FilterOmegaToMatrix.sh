kavelin simulate --seed 3 --seconds 12 --first-rest 2 --gyro-bias 0 --gyro-noise 0 -o recording.csv
kavelin run FilterOmegaToMatrix.json --quiet --plot FilterOmegaToMatrix.svg
