kavelin simulate --seed 3 --seconds 40 --burst 12 -o recording.csv
kavelin run FilterOrientationQuality.json --quiet --plot FilterOrientationQuality.svg
