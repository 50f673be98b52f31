kavelin simulate --seed 3 --seconds 90 --no-rests --first-rest 0 --shaking 2 --gyro-bias 0 --gyro-offset 0.05,-0.04,0.03 --hard-iron=9,-7,8 --disturbance 0 --burst 0 -o recording.csv
kavelin run FilterSO3Attitude.json --quiet --plot FilterSO3Attitude.svg
