"""The types that editors and checkers see, and the texts that help() shows."""

import doctest
import inspect
import os
import re
import shutil
import subprocess

import pytest

import kavelin

PUBLIC = [(name, getattr(kavelin, name)) for name in kavelin.__all__]


def methods():
    for name, thing in PUBLIC:
        if inspect.isclass(thing) and not issubclass(thing, BaseException):
            for own, method in vars(thing).items():
                if not own.startswith("_") and (inspect.isfunction(method) or isinstance(method, property)):
                    yield f"{name}.{own}", method


@pytest.mark.parametrize("name, thing", [*PUBLIC, *methods()], ids=lambda one: one if isinstance(one, str) else "")
def test_every_public_name_is_told(name, thing):
    text = inspect.getdoc(thing)
    assert text and len(text) > 10
    if inspect.isfunction(thing):
        parameters = [one for one in inspect.signature(thing).parameters if one != "self"]
        if len(parameters) > 1:
            assert not [one for one in parameters if not re.search(rf"\b{one}\b", text)]
        assert "return" in thing.__annotations__


def documented():
    for name, thing in [*PUBLIC, *methods(), ("kavelin", kavelin)]:
        if ">>>" in (thing.__doc__ or ""):
            yield pytest.param(thing, id=name)


@pytest.mark.parametrize("thing", documented())
def test_examples_do_what_they_show(thing, motion, tmp_path, monkeypatch):
    for name in ("imu.json", "walk.csv"):
        shutil.copy(os.path.join(os.environ["KAVELIN_SOURCE_DIR"], "examples", name), tmp_path)
    monkeypatch.chdir(tmp_path)
    names = {"kavelin": kavelin, "t": motion.t, "acc": motion.acc, "gyr": motion.gyr, "mag": motion.mag,
             "f": kavelin.Filter("FilterSO3Attitude")}
    example = doctest.DocTestParser().get_doctest(inspect.getdoc(thing), names, "example", None, 0)
    seen = []
    assert doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(example, out=seen.append).failed == 0, "".join(seen)


def checked(folder, program, *arguments):
    if shutil.which(program, path="/usr/bin") is None:
        pytest.skip(f"{program} is not installed")
    ran = subprocess.run([f"/usr/bin/{program}", *arguments], cwd=folder, text=True, capture_output=True,
                         env={**os.environ, "MYPYPATH": os.path.dirname(os.path.dirname(kavelin.__file__))})
    assert ran.returncode == 0, ran.stdout + ran.stderr


def test_types_of_the_python_files_fit_together(tmp_path):
    checked(tmp_path, "mypy", "--strict", "-p", "kavelin")


def test_stub_says_what_the_compiled_part_has(tmp_path):
    classes = [name for name, thing in vars(kavelin._kavelin).items() if inspect.isclass(thing)]
    # pybind11 gives its classes a metaclass, and those that functions make an __init__ that refuses.
    (tmp_path / "allowed").write_text("".join(rf"kavelin\._kavelin\.{name}(\.__init__)?" + "\n" for name in classes))
    checked(tmp_path, "stubtest", "kavelin._kavelin", "--allowlist", "allowed", "--ignore-unused-allowlist")
