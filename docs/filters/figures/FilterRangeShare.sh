kavelin simulate --seed 5 --seconds 10 --first-rest 1 --no-rests --turning 4 --gyro-range 6 -o recording.csv
kavelin run FilterRangeShare.json --quiet --plot FilterRangeShare.svg
