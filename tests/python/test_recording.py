import os
import zipfile

import numpy as np
import pytest

import kavelin

SOURCE = os.environ["KAVELIN_SOURCE_DIR"]


def equal(one, other):
    assert list(one) == list(other) and np.array_equal(one.t, other.t)
    for pin in one:
        assert np.array_equal(one[pin].t, other[pin].t) and np.array_equal(one[pin].value, other[pin].value)
    return True


def test_a_file_gives_its_numbers_and_what_was_found_out(tmp_path):
    (tmp_path / "rec.csv").write_text("t (ms);ax (g);ay (g);az (g);mx;my;mz;temperature\n"
                                      "0;0,5;0;1;;;;20\n10;0;0;1;1;2;3;20\noh;0;0;1;1;2;3;20\n5;0;0;1;1;2;3;20\n20;0;0;1;;2;3;20\n")
    rec = kavelin.read(tmp_path / "rec.csv")
    assert rec.pins == ["3a", "3m"] and "3a" in rec and "3g" not in rec and len(rec) == 3
    assert np.allclose(rec.t, [0, 0.01, 0.02])
    assert np.allclose(rec["3a"].values, [[4.903325, 0, 9.80665], [0, 0, 9.80665], [0, 0, 9.80665]])
    assert rec["3m"].t.tolist() == [0.01] and rec["3m"].value.tolist() == [[1, 2, 3]]
    assert rec.read_as == ["semicolon", "decimal comma"]
    assert rec.left_out == {"text in a number": 1, "time backwards": 1}
    assert rec.faults[0].startswith(f"{tmp_path}/rec.csv:4: column 1 holds 'oh'") and len(rec.faults) == 2
    assert any("temperature" in note for note in rec.notes)
    for line in ("3 rows", "read as: semicolon, decimal comma", "2 rows left out", "note: "):
        assert line in repr(rec)
    with pytest.raises(kavelin.UnknownName, match='no pin is named "3g"'):
        rec["3g"]
    with pytest.raises(ValueError, match="read-only"):
        rec["3a"].value[0] = 1


def test_every_kind_of_file_is_read(tmp_path, program, motion):
    motion.write(tmp_path / "rec.csv")
    whole = kavelin.read(tmp_path / "rec.csv")
    with zipfile.ZipFile(tmp_path / "rec.zip", "w") as archive:
        archive.write(tmp_path / "rec.csv", "rec.csv")
    assert equal(kavelin.read(tmp_path / "rec.zip"), whole)
    (tmp_path / "phone").mkdir()
    for name, values in (("TotalAcceleration", motion.acc), ("Gyroscope", motion.gyr)):
        rows = "\n".join(f"{int(t * 1e9)},{t!r},{z!r},{y!r},{x!r}" for t, (x, y, z) in zip(motion.t.tolist(), values.tolist()))
        (tmp_path / "phone" / f"{name}.csv").write_text(f"time,seconds_elapsed,z,y,x\n{rows}\n")
    folder = kavelin.read(tmp_path / "phone")
    assert folder.pins == ["3a", "3g"] and np.array_equal(folder["3g"].value, motion.gyr)
    assert np.array_equal(kavelin.fuse(folder).quaternion, kavelin.fuse(tmp_path / "phone").quaternion)


def test_one_of_several_sensors(tmp_path):
    (tmp_path / "two.csv").write_text("t,thigh_acc_x,thigh_acc_y,thigh_acc_z,shank_acc_x,shank_acc_y,shank_acc_z\n0,1,2,3,4,5,6\n1,1,2,3,4,5,6\n")
    assert kavelin.sensors(tmp_path / "two.csv") == ["thigh", "shank"]
    shank = kavelin.read(tmp_path / "two.csv", sensor="shank")
    assert shank.sensor == "shank" and shank.sensors == ["thigh", "shank"] and shank["3a"].value[0].tolist() == [4, 5, 6]
    with pytest.raises(kavelin.InvalidValue, match="it holds 2 sensors|several sensors"):
        kavelin.read(tmp_path / "two.csv")
    assert kavelin.sensors(SOURCE + "/examples/walk.csv") == []


def test_arrays_are_read_as_a_file_with_these_numbers(tmp_path, motion):
    motion.acc[3] = np.nan
    motion.gyr[5, 1] = np.inf
    motion.mag[::2] = np.nan
    motion.t[7], motion.t[9], motion.t[-1] = np.nan, 0.0, motion.t[-2]
    motion.write(tmp_path / "rec.csv")
    file = kavelin.read(tmp_path / "rec.csv")
    arrays = kavelin.Recording(motion.t, motion.acc, motion.gyr, motion.mag)
    assert equal(arrays, file) and len(arrays) == 397
    assert arrays.left_out == file.left_out == {"text in a number": 1, "no time stamp": 1, "time backwards": 1}
    assert "arrays: row 6: column 6 (gy) holds 'inf', which is no number" in arrays.faults
    in_g = kavelin.Recording(motion.t * 1e3, motion.acc / 9.80665, np.degrees(motion.gyr),
                             units={"acc": "g", "gyr": "deg/s", "t": "ms"}, axes="y,-x,z")
    assert np.allclose(in_g["3a"].value, arrays["3a"].value[:, [1, 0, 2]] * [1, -1, 1])
    assert np.allclose(in_g["3g"].value, arrays["3g"].value[:, [1, 0, 2]] * [1, -1, 1])
    by_rate = kavelin.Recording(acc=motion.acc, rate=50)
    assert np.allclose(by_rate.t, np.arange(400) / 50)


@pytest.mark.parametrize("arrays, text", [
    ({"acc": np.zeros((100, 2))}, r"acc: shape \(100, 2\); n x 3 is expected, in m/s\^2"),
    ({"gyr": np.zeros(100)}, r"gyr: shape \(100,\); n x 3 is expected, in rad/s"),
    ({"mag": np.zeros((1, 100, 3))}, r"mag: shape \(1, 100, 3\); n x 3 is expected, in uT"),
    ({"quat": np.zeros((100, 3))}, r"quat: shape \(100, 3\); n x 4 is expected"),
    ({"acc": np.zeros((99, 3))}, "acc: 99 rows; t has 100"),
    ({"t": np.zeros((100, 1)), "acc": np.zeros((100, 3))}, r"t: shape \(100, 1\); n is expected, in s"),
    ({"acc": np.zeros((100, 3), complex)}, "acc: elements of type complex128; numbers are expected"),
    ({"acc": "walk.csv"}, "acc: "),
    ({}, "acc, gyr, mag, quat: one at least is expected"),
    ({"acc": np.zeros((100, 3)), "units": {"acc": "yard"}}, "yard"),
    ({"acc": np.zeros((100, 3)), "units": 3}, "units: a text is expected"),
    ({"t": None, "acc": np.zeros((100, 3))}, "t: there are no time stamps; give t, in s, or rate, in Hz"),
])
def test_wrong_arrays_say_which(arrays, text):
    with pytest.raises(kavelin.Error, match=text):
        kavelin.Recording(**{"t": np.arange(100.0), **arrays})


@pytest.mark.parametrize("type", ["f4", "i4", ">f8", "strided", "fortran", "list", "masked"])
def test_any_numbers_will_do(type):
    numbers = np.arange(300).reshape(100, 3)
    acc = {"strided": lambda: np.repeat(numbers.astype(float), 2, axis=0)[::2], "list": numbers.tolist,
           "fortran": lambda: np.asfortranarray(numbers.astype(float)),
           "masked": lambda: np.ma.masked_equal(numbers.astype(float), 4)}.get(type, lambda: numbers.astype(type))()
    value = kavelin.Recording(np.arange(100), acc)["3a"].value
    assert np.array_equal(value, np.delete(numbers, 1, axis=0) if type == "masked" else numbers)


def test_what_cannot_be_read_is_refused_as_by_the_program(tmp_path, program):
    (tmp_path / "empty.csv").write_text("")
    (tmp_path / "text.csv").write_text("hello, world\n")
    (tmp_path / "rec.csv").write_text("t,ax,ay,az\n0,1,2,3\n")
    for path, options in (("empty.csv", {}), ("text.csv", {}), ("rec.csv", {"format": "nonsense"}),
                          ("rec.csv", {"dialect": "x=y"}), ("rec.csv", {"units": "3a=yard"}), ("rec.csv", {"axes": "x,x,z"})):
        said = program("fuse", tmp_path / path, *(f"--{name}={value}" for name, value in options.items())).stderr
        with pytest.raises(kavelin.InvalidValue) as refusal:
            kavelin.read(tmp_path / path, **options)
        assert str(refusal.value) in said
    with pytest.raises(kavelin.MissingFile):
        kavelin.read(tmp_path / "no.csv")
    odd = os.fsencode(tmp_path) + b"/\xff\xfe.csv"
    with open(odd, "w") as file:
        file.write("t,ax,ay,az\n0,1,2,3\n")
    assert len(kavelin.read(odd)) == 1 and os.fsencode(kavelin.read(odd).name) == odd and "\ufffd" in repr(kavelin.read(odd))
    with pytest.raises(kavelin.InvalidValue, match="NUL"):
        kavelin.read("a\0b")
    with pytest.raises(kavelin.WrongType, match="path: a path is expected; this is float"):
        kavelin.read(1.5)


def test_a_simulation_has_the_numbers_of_the_programs(tmp_path, program):
    ran = program("simulate", "--seed=7", "--seconds=3", "--mag-every=4", "--hard-iron=1,-2,3", "--dead=gyro:xz", "--dead=mag",
            "--missing=0.1", "--no-rests", "-o", tmp_path / "rec.csv")
    assert ran.returncode == 0, ran.stderr
    rec = kavelin.simulate(seed=7, seconds=3, mag_every=4, hard_iron=[1, -2, 3], dead=["gyro:xz", "mag"], missing=0.1,
                           rests=False)
    assert equal(rec, kavelin.read(tmp_path / "rec.csv")) and rec["quat"].value.shape == (len(rec), 4)
    assert "quat" not in kavelin.simulate(seconds=1, truth=False) and len(kavelin.simulate(rows=17)) == 17
    for options, text in (({"seed": -1}, "--seed"), ({"rate": 0}, "rate"), ({"frobnicate": 1}, "--frobnicate"), ({"help": 1}, "--help"),
                          ({"hard_iron": [1, 2]}, "three numbers")):
        with pytest.raises(kavelin.InvalidValue, match=text):
            kavelin.simulate(**options)
