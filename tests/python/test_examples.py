import os
import subprocess
import sys

import pytest

SCRIPT = os.environ["KAVELIN_SOURCE_DIR"] + "/examples/python/orientation.py"


@pytest.mark.parametrize("arguments", [[], [os.environ["KAVELIN_SOURCE_DIR"] + "/examples/walk.csv"]])
def test_orientation(tmp_path, arguments):
    pytest.importorskip("matplotlib", reason="python3-matplotlib is not installed")
    ran = subprocess.run([sys.executable, "-W", "error::UserWarning", SCRIPT, *arguments, "-o", tmp_path / "picture.png"],
                         env={**os.environ, "MPLBACKEND": "Agg", "MPLCONFIGDIR": str(tmp_path)}, text=True, capture_output=True)
    assert ran.returncode == 0, ran.stderr
    assert "RMS over" in ran.stdout and "linear acceleration: " in ran.stdout and " differs by " in ran.stdout
    assert (tmp_path / "picture.png").read_bytes().startswith(b"\x89PNG")
