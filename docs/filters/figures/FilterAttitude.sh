kavelin simulate --seed 3 --disturbance 0 --burst 8 -o recording.csv
kavelin run FilterAttitude.json --quiet --plot FilterAttitude.svg
