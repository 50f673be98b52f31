import json
import os
import threading

import numpy as np
import pytest

import kavelin


def imu(recording, **filter):
    return {"layouts": [{"name": "l", "filters": [
                {"name": "rec", "type": "FilterCsvReader", "properties": {"File Name": recording}},
                {"name": "f", "type": "FilterSO3Attitude", **filter}]}],
            "connections": [{"from": f"rec:{pin}", "to": f"f:{pin}"} for pin in ("3a", "3g", "3m")]}


@pytest.fixture
def recording(tmp_path, motion):
    motion.write(tmp_path / "rec.csv")
    return tmp_path / "rec.csv"


@pytest.mark.parametrize("threads", [False, True])
def test_probes_hear_what_the_filters_send(recording, motion, threads):
    layout = kavelin.Layout(imu(recording))
    layout.set("f:Rest time", np.float64(0.5))
    layout.set("Field noise", 0.3)
    layout.probe("f:attitudeQ")
    result = layout.run(probes=["f:3m"], threads=threads)
    f = kavelin.Filter("FilterSO3Attitude")
    f["Rest time"], f["Field noise"] = 0.5, 0.3
    expected = f.run(motion.t, motion.inputs)["attitudeQ"]
    assert result.status == 0 and list(result) == ["f:attitudeQ", "f:3m"]
    assert np.array_equal(result["f:attitudeQ"].value, expected.value)
    assert np.array_equal(result["f:attitudeQ"].t, expected.t)
    assert np.array_equal(result["f:3m"].value, motion.mag), "an input's probe hears what is sent to it"


def test_files_are_those_of_the_program(tmp_path, program, recording):
    layout = imu("rec.csv", properties={"Rest time": 0.5})
    layout["layouts"][0]["filters"].append(
        {"name": "out", "type": "FilterCsvWriter", "properties": {"File Name": "${OUT}/${NAME}.csv"}})
    layout["connections"].append({"from": "f:attitudeQ", "to": "out:q"})
    layout["variables"] = {"NAME": "as said"}
    (tmp_path / "layout.json").write_text(json.dumps(layout))
    assert program("run", tmp_path / "layout.json", "-o", tmp_path / "a").returncode == 0
    kavelin.Layout(tmp_path / "layout.json", out=tmp_path / "b", variables={"NAME": "other"}).run()
    assert (tmp_path / "b" / "other.csv").read_bytes() == (tmp_path / "a" / "as said.csv").read_bytes()
    del layout["variables"]
    (tmp_path / "layout.json").write_text(json.dumps(layout))
    with pytest.raises(ValueError, match='variable "NAME" is not set'):  # that of the earlier run is gone
        kavelin.Layout(tmp_path / "layout.json", out=tmp_path / "b").run()


def test_errors_in_the_data_are_raised_with_the_result(tmp_path, program, recording):
    text = recording.read_text().splitlines()
    text[100] = text[100].replace(",", ",x", 1)
    recording.write_text("\n".join(text) + "\n")
    (tmp_path / "layout.json").write_text(json.dumps(imu("rec.csv")))
    said = program("run", tmp_path / "layout.json")
    layout = kavelin.Layout(tmp_path / "layout.json")
    with pytest.raises(kavelin.RunError) as raised:
        layout.run(probes=["f:attitudeQ"])
    result = raised.value.result
    assert said.returncode == result.status == 1
    assert len(result["f:attitudeQ"].t) == 399
    assert sorted("kavelin: " + text for text in result.errors + result.notes) == sorted(said.stderr.splitlines())
    assert result.errors and set(str(raised.value).splitlines()) == set(result.errors)
    with pytest.warns(kavelin.Warning, match="rec.csv"):
        layout.run(errors="warn")


@pytest.mark.parametrize("change, text", [
    (lambda l: l["connections"][0].update({"to": "f:3mm"}),
     ':40:13: f (FilterSO3Attitude): no input is named "3mm"; did you mean "3m"?'),
    (lambda l: l.update(layout=[]), 'unknown key "layout" in a layout file; did you mean "layouts"?'),
    (lambda l: l["layouts"][0]["filters"][1].update(properties={"Rest time": np.array([[1, 2]])}),
     'f (FilterSO3Attitude), "Rest time": takes a number; this is a matrix'),
])
def test_mistakes_have_their_place(recording, change, text):
    layout = imu(recording)
    change(layout)
    with pytest.raises(ValueError) as raised:
        kavelin.Layout(layout).run()
    lines = json.dumps(kavelin._layout._plain(layout), indent=2).splitlines()
    if ":40:" in text:
        text = text.replace("40", str(1 + next(i for i, line in enumerate(lines) if "3mm" in line)))
    assert text in str(raised.value)


def test_sources_that_are_no_layout_are_refused(recording):
    endless = {}
    endless["layouts"] = endless
    for source, kind, text in ((3, kavelin.WrongType, "source: a path or a dict is expected; this is int"),
                               (endless, kavelin.InvalidValue, "source: a dict that contains itself"),
                               ({}, kavelin.InvalidValue, "the layout:1:1: ")):
        with pytest.raises(kind, match=text):
            kavelin.Layout(source)
    layout = imu(recording)
    layout["layouts"][0]["filters"].append({"name": "a", "type": "FilterAngleDG", "properties": {"axis": np.array([0, 1, 0])}})
    assert not [line for line in kavelin.Layout(layout).check() if "axis" in line]


@pytest.mark.parametrize("act, kind, text", [
    (lambda l: l.set("g:Rest time", 1), KeyError, 'no filter is named "g"'),
    (lambda l: l.set("f:Rest time", {}), TypeError, "f:Rest time: a bool, a number, a text or an array is expected"),
    (lambda l: l.probe("f"), ValueError, '"f": the form "filter:name" is expected'),
    (lambda l: l.run(["f:nothing"]), KeyError, 'f (FilterSO3Attitude): no pin is named "nothing"'),
    (lambda l: l.run(["f:quat_0"]), ValueError, "probe f:quat_0: no connection leads to this input"),
    (lambda l: (l.set("f:Rest tine", 1), l.run()), ValueError, 'set("f:Rest tine"): f (FilterSO3Attitude): no property'),
    (lambda l: kavelin.Layout("nowhere.json"), FileNotFoundError, "nowhere.json cannot be opened for reading"),
    (lambda l: kavelin.Layout({"layouts": [{1: 2}]}), TypeError, "1 cannot stand in a layout"),
    (lambda l: l.run(errors="no"), ValueError, "errors: 'no'; "),
])
def test_what_cannot_be_used_is_said(recording, act, kind, text):
    with pytest.raises(kind) as raised:
        act(kavelin.Layout(imu(recording)))
    assert isinstance(raised.value, kavelin.Error) and text in str(raised.value)


def test_runs_of_several_threads_follow_each_other(recording, motion):
    f = kavelin.Filter("FilterInclinometer")
    f.push("3a", 0, [0, 9.81, 0])
    results = [None] * 3

    def work(i):
        results[i] = kavelin.Layout(imu(recording)).run(["f:attitudeQ"])["f:attitudeQ"].value
    threads = [threading.Thread(target=work, args=(i,)) for i in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    expected = kavelin.Filter("FilterSO3Attitude").run(motion.t, motion.inputs)["attitudeQ"].value
    assert all(np.array_equal(one, expected) for one in results)
    f.process()
    assert f.pop("roll").value == np.pi / 2, "a filter is not disturbed by them"
