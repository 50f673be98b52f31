kavelin simulate --seed 3 --hard-iron 15,-12,10 --disturbance 0 -o recording.csv
kavelin run FilterVerdict.json --quiet --plot FilterVerdict.svg || test $? = 1  # the verdict on the heading is bad
