kavelin simulate --seed 4 --seconds 30 --gyro-bias 0 --disturbance 0 --burst 0 | sed '1s/$/,ew,ex,ey,ez/; 2,$s/$/,1,0,0,0/' >recording.csv
kavelin run FilterAGMTriad_gyro.json --quiet --plot FilterAGMTriad_gyro.svg
