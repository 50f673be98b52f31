#!/bin/bash
# many-parallel.sh RESULTS RECORDING...: fuses recordings under GNU parallel, then prints the table of all.
# Options of parallel, such as --sshloginfile, may be given in PARALLEL.
set -u
results=$1
shift
mkdir -p "$results"
# The last line tells what went wrong with which recording, and its status is this script's.
parallel --quote kavelin fuse {} -o "$results" --resume --quiet ::: "$@" 2>/dev/null
kavelin fuse "$@" -o "$results" --resume
