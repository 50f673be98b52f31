#!/bin/bash
#SBATCH --job-name=fuse
#SBATCH --array=0-9
#SBATCH --cpus-per-task=2
#SBATCH --mem=1G
#SBATCH --time=01:00:00
#SBATCH --output=fuse-%A-%a.log
# many-slurm.sh RESULTS FOLDER: each task of the array fuses its share of the recordings in FOLDER.
set -u
results=$1
folder=$2
shopt -s nullglob
recordings=("$folder"/*.csv "$folder"/*.csv.gz)
share=()
for ((i = SLURM_ARRAY_TASK_ID; i < ${#recordings[@]}; i += SLURM_ARRAY_TASK_COUNT)); do
  share+=("${recordings[i]}")
done
((${#share[@]} > 0)) || exit 0
mkdir -p "$results"
exec kavelin fuse "${share[@]}" -o "$results" --resume --jobs "${SLURM_CPUS_PER_TASK:-1}"
