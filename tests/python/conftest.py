import os
import subprocess
import sys

import numpy as np
import pytest


@pytest.fixture
def program():
    """Runs the program that belongs to the module."""
    return lambda *arguments: subprocess.run([os.environ["KAVELIN"], *map(str, arguments)], text=True, capture_output=True)


@pytest.fixture
def python():
    """Runs code in a new interpreter, which must not crash."""
    def run(code, **environment):
        ended = subprocess.run([sys.executable, "-W", "always", "-c", code], env={**os.environ, **environment}, text=True,
                               capture_output=True, timeout=120)
        assert ended.returncode in (0, 1), ended.stderr  # a crash is a negative one, a sanitizer's any other
        return ended
    return run


class Motion:
    """A unit that turns about a tilted axis, in a field."""

    def __init__(self, n=400):
        self.t = np.arange(n) * 0.01
        angle = 0.5 * np.sin(self.t)[:, None]
        self.gyr = np.hstack([0.1 * angle, 0.2 * angle, 0.5 * np.cos(self.t)[:, None]])
        self.acc = np.hstack([9.81 * np.sin(0.1 * angle), 0 * angle, 9.81 * np.cos(0.1 * angle)])
        self.mag = np.hstack([20 * np.cos(angle), -20 * np.sin(angle), -40 + 0 * angle])
        self.inputs = {"3a": self.acc, "3g": self.gyr, "3m": self.mag}

    def write(self, path):
        rows = np.hstack([self.t[:, None], self.acc, self.gyr, self.mag])
        names = "t,ax (m/s^2),ay (m/s^2),az (m/s^2),gx (rad/s),gy (rad/s),gz (rad/s),mx (uT),my (uT),mz (uT)"
        path.write_text(names + "\n" + "\n".join(",".join(map(repr, row)) for row in rows.tolist()) + "\n")


@pytest.fixture
def motion():
    return Motion()
