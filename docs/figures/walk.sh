kavelin fuse examples/walk.csv -o orientation.csv --as euler --plot walk.svg --quiet
