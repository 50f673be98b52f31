kavelin simulate --seed 3 --seconds 23 --disturbance 40 --burst 12 -o recording.csv
kavelin run FilterStaticMode.json --quiet --plot FilterStaticMode.svg
