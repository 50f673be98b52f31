kavelin simulate --seed 8 --seconds 30 --no-rests --first-rest 4 --disturbance 45 -o recording.csv
kavelin run FilterAttitudeErrors.json --quiet --plot FilterAttitudeErrors.svg
