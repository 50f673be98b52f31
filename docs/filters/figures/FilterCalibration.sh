kavelin simulate --seed 1 --seconds 120 --no-rests --disturbance 0 --burst 0 --hard-iron=20,-12,15 --soft-iron=0.1 -o turned.csv
kavelin calibrate mag turned.csv -o cal.json >log
kavelin simulate --seed 3 --disturbance 0 --burst 0 --hard-iron=20,-12,15 --soft-iron=0.1 -o recording.csv
kavelin run FilterCalibration.json --quiet --plot FilterCalibration.svg
