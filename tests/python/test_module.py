import os
import subprocess
import sys

import kavelin


def in_new_interpreter(code, **environment):
    return subprocess.run([sys.executable, "-c", code], env={**os.environ, **environment}, text=True,
                          capture_output=True)


def test_version_is_that_of_the_program():
    said = subprocess.run([os.environ["KAVELIN"], "--version"], capture_output=True, text=True).stdout
    assert said == f"kavelin {kavelin.__version__}\n"


def test_unusable_plugin_is_a_warning(tmp_path):
    (tmp_path / "KavelinPluginBroken.so").write_text("no module")
    seen = in_new_interpreter("import kavelin; print('FilterCompass' in kavelin.filters())",
                              KAVELIN_PLUGIN_PATH=str(tmp_path))
    assert seen.stdout == "True\n" and seen.returncode == 0
    assert "Warning: plugin left out: " in seen.stderr and "KavelinPluginBroken.so" in seen.stderr
