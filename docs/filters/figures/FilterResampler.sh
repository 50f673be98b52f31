kavelin simulate --seed 3 --seconds 3 --first-rest 0 --no-rests --mag-every 25 --disturbance 0 --mag-noise 0.1 -o recording.csv
kavelin run FilterResampler.json --quiet --plot FilterResampler.svg
