kavelin simulate --seed 4 --seconds 5 --first-rest 2 --mag-every 20 -o recording.csv
kavelin run FilterCsvWriter-table.json --quiet
kavelin run FilterCsvWriter.json --quiet --plot FilterCsvWriter.svg
