"""From a recording to orientation, its errors and a picture.

    python3 orientation.py                     a simulated recording
    python3 orientation.py walk.csv            one of yours, in any format that `kavelin fuse` reads
    python3 orientation.py walk.csv -o walk.png

The cells (# %%) run one by one in editors that know them, and as a notebook.
"""

# %% A recording: samples of an accelerometer, a gyroscope and a magnetometer with their times
import argparse
import sys

import numpy as np

import kavelin

parser = argparse.ArgumentParser()
parser.add_argument("recording", nargs="?", help="file or folder; without it one is simulated")
parser.add_argument("-o", "--output", help="picture to write, .png or .svg; without it a window")
options = parser.parse_args(sys.argv[1:] if not hasattr(sys, "ps1") else [])

if options.recording:
    recording = kavelin.read(options.recording)
else:
    recording = kavelin.simulate(seed=4, seconds=60, gyro_bias=0.02)  # rad/s
print(recording)

# %% Its orientation. What is wrong with a recording is a warning, and result.status is 1
result = kavelin.fuse(recording)
print(result)

# %% How it can be taken on: quaternions (w first), matrices, angles; vectors of the sensor in the earth's frame
t, acc = recording["3a"]
assert result.quaternion.shape == (len(result), 4)
yaw, pitch, roll = result.euler().T  # degrees
at = np.searchsorted(t, result.t)
acc_earth = np.einsum("nij,nj->ni", result.rotation(), acc[np.minimum(at, len(t) - 1)])
linear = acc_earth - [0, 0, 9.81]  # m/s^2, linear acceleration: East, North, up
print(f"linear acceleration: {np.sqrt((linear**2).sum(axis=1).mean()):.3g} m/s^2, RMS")

# %% Its errors, where the recording has a reference
errors = result.errors() if result.summary["errors"] else None
if errors is not None:
    print(errors)

# %% The same from arrays, with a filter and settings of choice
if "3g" in recording and "3m" in recording and len(recording["3g"].t) == len(recording["3m"].t) == len(t):
    other = kavelin.fuse(t, acc=acc, gyr=recording["3g"].values, mag=recording["3m"].values,
                         filter="FilterSphericalFilteringAttitude")
    print(f"{other.filter} differs by {other.errors(result).rms.total:.3g} degrees, RMS")

# %% A picture
try:
    import matplotlib.pyplot as plt
except ImportError:
    sys.exit("no picture: matplotlib is not installed (python3-matplotlib)")

figure, axes = plt.subplots(3, 1, sharex=True, figsize=(9, 7), layout="constrained")
for name, angle in (("yaw", yaw), ("pitch", pitch), ("roll", roll)):
    axes[0].plot(result.t, angle, label=name, linewidth=0.8)
axes[0].set_ylabel("degrees")
axes[0].legend(loc="upper right")
if errors is not None:
    axes[1].plot(errors.t, errors.heading, label="heading", linewidth=0.8)
    axes[1].plot(errors.t, errors.tilt, label="tilt", linewidth=0.8)
    axes[1].legend(loc="upper right")
axes[1].set_ylabel("error, degrees")
for i, (name, raised) in enumerate(result.flags.items()):
    axes[2].fill_between(result.t, i, i + 0.8 * raised, step="post", label=name)
axes[2].set_yticks(np.arange(len(result.flags)) + 0.4, list(result.flags))
axes[2].set_xlabel("s")
if options.output:
    figure.savefig(options.output, dpi=120)
else:
    plt.show()
