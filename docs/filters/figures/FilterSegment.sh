kavelin simulate --seed 6 --seconds 20 --first-rest 2 --turning 0.6 -o recording.csv
kavelin run FilterSegment.json --quiet --plot FilterSegment.svg
