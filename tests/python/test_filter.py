import json
import threading

import numpy as np
import pytest

import kavelin


def layout_result(program, tmp_path, motion, type, output, inputs, properties={}):
    """What the program makes of the same samples: time stamps and elements as it wrote them."""
    motion.write(tmp_path / "rec.csv")
    (tmp_path / "layout.json").write_text(json.dumps({
        "layouts": [{"name": "l", "filters": [
            {"name": "rec", "type": "FilterCsvReader", "properties": {"File Name": "rec.csv"}},
            {"name": "f", "type": type, "properties": properties},
            {"name": "out", "type": "FilterCsvWriter", "properties": {"File Name": "out.csv"}}]}],
        "connections": [{"from": f"rec:{source}", "to": f"f:{pin}"} for pin, source in inputs.items()]
                       + [{"from": f"f:{output}", "to": f"out:{output}"}]}))
    ran = program("run", tmp_path / "layout.json")
    assert ran.returncode == 0, ran.stderr
    return np.genfromtxt(tmp_path / "out.csv", delimiter=",", skip_header=1)


@pytest.mark.parametrize("type, output, inputs, properties", [
    ("FilterSO3Attitude", "attitudeQ", {"3a": "3a", "3g": "3g", "3m": "3m"}, {"Rest time": 0.5}),
    ("FilterAGMAttitude_v7", "attitude", {"3a": "3a", "3g": "3g", "3m": "3m"}, {}),  # has a settings file
    ("FilterOmegaToMatrix", "RotationMatrix", {"omega": "3g"}, {}),  # sends later than its first row
    ("FilterInclinometer", "roll", {"3a": "3a"}, {}),
])
def test_run_gives_the_bits_of_a_layout(program, tmp_path, motion, type, output, inputs, properties):
    expected = layout_result(program, tmp_path, motion, type, output, inputs, properties)
    f = kavelin.Filter(type)
    for name, value in properties.items():
        f[name] = value
    t, value = f.run(motion.t, {pin: motion.inputs[source] for pin, source in inputs.items()}, outputs=[output])[output]
    assert len(t) > 100
    assert np.array_equal(np.column_stack([t, value.reshape(len(t), -1)]), expected)


def test_pushed_sample_by_sample_and_run_in_parts_gives_the_same(motion):
    names = ["attitudeQ", "3g_bias"]
    whole = kavelin.Filter("FilterSO3Attitude").run(motion.t, motion.inputs, names)
    parts, single = kavelin.Filter("FilterSO3Attitude"), kavelin.Filter("FilterSO3Attitude")
    halves = [parts.run(motion.t[s], {pin: a[s] for pin, a in motion.inputs.items()}, names)
              for s in (slice(0, 150), slice(150, None))]
    for i, t in enumerate(motion.t):
        for pin, samples in motion.inputs.items():
            single.push(pin, t, samples[i])
        single.process()
    for name in names:
        assert np.array_equal(np.concatenate([half[name].value for half in halves]), whole[name].value)
        assert np.array_equal(single.pop_all(name).value, whole[name].value)
        assert np.array_equal(single.pop_all(name).t, [])


def test_inputs_with_stamps_of_their_own(motion):
    f = kavelin.Filter("FilterSO3Attitude")
    result = f.run(None, {"3a": (motion.t, motion.acc), "3g": (motion.t, motion.gyr), "3m": (motion.t[::4], motion.mag[::4])},
                   outputs=["attitudeQ"])
    nan = np.full_like(motion.mag, np.nan)
    nan[::4] = motion.mag[::4]
    other = kavelin.Filter("FilterSO3Attitude").run(motion.t, {**motion.inputs, "3m": nan}, outputs=["attitudeQ"])
    assert np.array_equal(result["attitudeQ"].value, other["attitudeQ"].value)
    assert other.notes == ["3m: 300 rows without a value"]
    shifted = kavelin.Filter("FilterAttitude")
    with pytest.raises(kavelin.RunError, match="FilterAttitude takes one sample of each input, but their time stamps do not"):
        shifted.run(None, {"3a": (motion.t, motion.acc), "3m": (motion.t + 0.007, motion.mag)})


@pytest.mark.parametrize("change", [
    lambda a: a.tolist(), lambda a: np.asfortranarray(a), lambda a: a.astype(">f8"), lambda a: np.repeat(a, 2, 0)[::2],
    lambda a: np.ma.masked_array(a, mask=False), lambda a: a.astype(object), lambda a: a.reshape(-1, 1, 3),
    lambda a: pytest.importorskip("pandas").DataFrame(a)])
def test_arrays_of_many_kinds_are_the_same_numbers(motion, change):
    def of(acc):
        return kavelin.Filter("FilterInclinometer").run(motion.t, {"3a": acc}, ["roll"])["roll"].value
    assert np.array_equal(of(change(motion.acc)), of(motion.acc))


def test_what_a_run_could_not_use_is_told(motion):
    def run(inputs, t=motion.t):
        return kavelin.Filter("FilterSO3Attitude").run(t, inputs, ["attitudeQ"], errors="ignore")
    t, acc, gyr = motion.t, motion.acc, motion.gyr
    infinite = acc.copy()
    infinite[[3, 7], 1] = np.inf, -np.inf
    told = run({"3a": infinite, "3g": gyr})
    assert told.errors == ["3a: 2 rows with an infinite value, left out"] and np.isfinite(told["attitudeQ"].value).all()
    assert run({"3a": (t, acc), "3g": (t[::2], gyr[::2])}, None).notes == ["3a: 200 of 400 samples gave no attitudeQ"]
    assert run({"3a": (t[:200], acc[:200]), "3g": (t, gyr)}, None).notes == [
        "FilterSO3Attitude: samples without a partner: 200 of 3g"]
    assert run({"3a": acc * 1e300, "3g": gyr}).notes == ["FilterSO3Attitude: nothing came out of 400 rows: attitudeQ"]
    f = kavelin.Filter("FilterSO3Attitude")
    f.run(None, {"3a": (t[:200], acc[:200]), "3g": (t[:100], gyr[:100])})
    assert not f.run(t[200:], {"3a": acc[200:], "3g": gyr[200:]}).notes  # those of an earlier run are not told again


def test_masked_and_nan_rows_have_no_value(motion):
    masked = np.ma.masked_array(motion.acc)
    masked[10:20, 1] = np.ma.masked
    t, _ = kavelin.Filter("FilterInclinometer").run(motion.t, {"3a": masked}, ["roll"])["roll"]
    assert np.array_equal(t, np.delete(motion.t, slice(10, 20)))
    pandas = pytest.importorskip("pandas")
    table = pandas.DataFrame(motion.acc, dtype="Float64")
    table.iloc[10:20, 1] = pandas.NA
    assert np.array_equal(kavelin.Filter("FilterInclinometer").run(motion.t, {"3a": table}, ["roll"])["roll"].t, t)


def ones(*shape):
    return np.ones(shape)


@pytest.mark.parametrize("type, inputs, kind, text", [
    ("FilterSO3Attitude", {"3a": ones(4, 2)}, ValueError, r"3a: shape (4, 2); n x 3 is expected, in m/s^2"),
    ("FilterSO3Attitude", {"3g": ones(5, 3)}, ValueError, "3g: 5 rows; there are 4 time stamps"),
    ("FilterSO3Attitude", {"3g": ones(3)}, ValueError, "3g: shape (3,); n x 3 is expected, in rad/s"),
    ("FilterXSENSAttitude", {"attitude xsens": ones(4, 9)}, ValueError, "attitude xsens: shape (4, 9); n x 3 x 3 is expected"),
    ("FilterSegment", {"attitude": ones(4, 5)}, ValueError, "attitude: shape (4, 5); n x 4 or n x 3 x 3 is expected"),
    ("FilterDegrees", {}, ValueError, "t: time runs backwards: 0.5 s after 1 s, row 3"),
    ("FilterSO3Attitude", {"3a": ones(4, 3) * 1j}, TypeError, "3a: elements of type complex128; numbers are expected"),
    ("FilterSO3Attitude", {"3a": [["a", "b", "c"]] * 4}, TypeError, "3a: elements of type <U1; numbers are expected"),
    ("FilterSO3Attitude", {"acc": ones(4, 3)}, KeyError,
     'FilterSO3Attitude: no input is named "acc"; inputs: 3a, 3g, 3m, quat_0'),
    ("FilterSO3Atitude", {}, KeyError, "There is no filter type 'FilterSO3Atitude'; the nearest are 'FilterSO3Attitude'"),
    ("FilterSO3Attitude", {1: ones(4, 3)}, TypeError, "inputs: a text is expected; this is int"),
    ("FilterSO3Attitude", [ones(4, 3)], TypeError, "inputs: a dict of pins and samples is expected"),
    (None, {"3a": ones(4, 3)}, TypeError, "type: a text is expected; this is NoneType"),
    ("a\ud800b", {}, ValueError, "a text with half a character"),
])
def test_what_cannot_be_used_is_said(type, inputs, kind, text):
    t = [0, 0.5, 1, 0.5] if not inputs else np.arange(4.0)
    with pytest.raises(kind) as raised:
        kavelin.Filter(type).run(t, inputs)
    assert isinstance(raised.value, kavelin.Error)
    assert text in str(raised.value)


def test_properties_are_values_of_their_kind():
    f = kavelin.Filter("FilterSO3Attitude")
    f["Rest time"], f["Use 3m"] = np.float32(0.5), False
    assert f["Rest time"] == 0.5 and f["Use 3m"] is False
    about = f.properties["Rest time"]
    assert (about.kind, about.unit, about.default, about.value, about.maximum) == ("double", "s", 1.0, 0.5, 60.0)
    angle = kavelin.Filter("FilterAngleDG")
    angle["axis"] = [1, 0, 0]
    assert np.array_equal(angle["axis"], [[1.0, 0, 0]])
    mode = kavelin.Filter("FilterAttitude")
    assert "static" in mode.properties["Mode"].choices
    mode["Mode"] = "static"
    assert mode["Mode"] == "static"


@pytest.mark.parametrize("name, value, kind, text", [
    ("Rest time", 1000, ValueError, 'FilterSO3Attitude, "Rest time": '),
    ("Rest time", [[1, 2]], ValueError, 'FilterSO3Attitude, "Rest time": takes a number; this is a matrix'),
    ("Rest time", None, TypeError, 'FilterSO3Attitude, "Rest time": a bool, a number, a text or an array is expected; '
                                   'this is NoneType'),
    ("Rest tine", 1, KeyError, 'no property is named "Rest tine"; did you mean "Rest time"?'),
    ("Reset", 1, TypeError, 'FilterSO3Attitude: "Reset" is a command and has no value; command("Reset") activates it'),
])
def test_refused_properties_keep_their_value(name, value, kind, text):
    f = kavelin.Filter("FilterSO3Attitude")
    with pytest.raises(kind) as raised:
        f[name] = value
    assert text in str(raised.value) and f["Rest time"] == 1.0


def test_time_runs_on_until_a_command(motion):
    f = kavelin.Filter("FilterSO3Attitude")
    first = f.run(motion.t, motion.inputs)["attitudeQ"].value
    with pytest.raises(ValueError, match="time runs backwards: 0.0 s after 3.99 s|time runs backwards: 0 s after 3.99 s"):
        f.run(motion.t, motion.inputs)
    with pytest.raises(ValueError, match="time runs backwards"):
        f.push("3a", 1.0, [0, 0, 1])
    f.command("Reset")
    assert np.array_equal(f.run(motion.t, motion.inputs)["attitudeQ"].value, first)


def test_full_queues_are_told(motion):
    f = kavelin.Filter("FilterSO3Attitude")
    many = np.arange(1025.0)
    with pytest.raises(ValueError, match="3a: 1025 samples do not find room in its queue, which takes 1024 more"):
        f.push("3a", many, ones(1025, 3))
    f.push("3a", many[:1024], ones(1024, 3))
    with pytest.warns(kavelin.Warning, match="its queue of 1024 is full"):
        f.push("3a", 2000.0, [1, 2, 3])
    g = kavelin.Filter("FilterInclinometer")
    for start in range(0, 2000, 1000):
        g.push("3a", np.arange(start, start + 1000.0), ones(1000, 3))
        g.process()
    with pytest.warns(kavelin.Warning, match="FilterInclinometer:roll: 976 samples were dropped before this one"):
        assert g.pop("roll").t == 976.0


def test_errors_of_a_run_come_with_time_and_result(tmp_path, motion):
    def started():
        f = kavelin.Filter("FilterCsvWriter")
        f["File Name"] = tmp_path / "out.csv"
        f.push("x", -1, [1, 2, 3])
        f.process()
        return f
    samples = {"x": motion.acc[:, :2]}
    f = started()
    f.push("x", 0, [1, 2])
    with pytest.raises(ValueError, match="pin 'x' began with 1x3 and now sends 1x2"):
        f.process()
    text = "FilterCsvWriter at 0 s, 400 times in all: pin 'x' began with 1x3 and now sends 1x2: not written"
    with pytest.raises(kavelin.RunError) as raised:
        started().run(motion.t, samples)
    assert str(raised.value) == text == raised.value.result.errors[0]
    with pytest.warns(kavelin.Warning, match="400 times in all"):
        assert started().run(motion.t, samples, errors="warn").status == 1
    once = started().run(motion.t, samples, errors="ignore", stop_on_error=True)
    assert once.errors == ["FilterCsvWriter at 0 s: pin 'x' began with 1x3 and now sends 1x2: not written"]
    lacking = kavelin.Filter("FilterAttitude").run(motion.t, {"3a": motion.acc}, errors="ignore")
    assert lacking.errors == ['FilterAttitude needs "3m", which was not given: nothing will come of it']


def test_threads_take_turns(motion):
    f = kavelin.Filter("FilterSO3Attitude")
    expected = [kavelin.Filter("FilterSO3Attitude").run(motion.t, motion.inputs)["attitudeQ"].value] * 4
    own, failures = [None] * 4, []

    def work(i):
        try:
            own[i] = kavelin.Filter("FilterSO3Attitude").run(motion.t, motion.inputs)["attitudeQ"].value
            for k in range(100):
                f.push("3m", 1e6, [1, 2, 3])
                f["Rest time"], _ = 0.5, f["Rest time"]
                f.process()
        except Exception as error:
            failures.append(error)
    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures and np.array_equal(own, expected)


def test_results_outlive_the_filter(motion):
    values = kavelin.Filter("FilterSO3Attitude").run(motion.t, motion.inputs)["attitude"].value
    copy = values.copy()
    values += 1
    assert np.array_equal(values, copy + 1)


def test_one_name_is_a_list_of_one(motion):
    f = kavelin.Filter("FilterSO3Attitude")
    assert list(f.run(motion.t, motion.inputs, "attitudeQ")) == ["attitudeQ"]
    with pytest.raises(kavelin.WrongType, match="a text is expected; this is int"):
        f.pop(3)
