kavelin simulate --seed 6 --seconds 20 --first-rest 2 --turning 0.8 -o recording.csv
kavelin run FilterAttitudeForm.json --quiet --plot FilterAttitudeForm.svg
