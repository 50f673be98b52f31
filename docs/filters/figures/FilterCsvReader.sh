kavelin simulate --seed 4 --seconds 30 --gap 2 --gap-every 12 --acc-unit g --gyro-unit deg/s --mag-every 5 -o recording.csv
kavelin run FilterCsvReader.json --quiet --plot FilterCsvReader.svg
