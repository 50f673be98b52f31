import json
import os
import signal
import threading
import warnings

import numpy as np
import pytest

import kavelin

WALK = os.environ["KAVELIN_SOURCE_DIR"] + "/examples/walk.csv"


def same(one, other, apart=("recording",)):
    assert np.array_equal(one.t, other.t) and np.array_equal(one.quaternion, other.quaternion)
    assert {**one.summary, **dict.fromkeys(apart)} == {**other.summary, **dict.fromkeys(apart)}
    return True


@pytest.mark.parametrize("options, arguments", [
    ({}, []),
    ({"scores": True, "frame": "ned"}, ["--scores", "--frame=ned"]),
    ({"output_rate": 30}, ["--output-rate=30"]),
    ({"filter": "FilterAttitude", "frame": "enu", "align": "none"}, ["--filter=FilterAttitude", "--frame=enu", "--align=none"]),
    ({"filter": "FilterAGMAttitude_v7", "output_rate": 20.5, "align": "start"},
     ["--filter=FilterAGMAttitude_v7", "--output-rate=20.5", "--align=start"]),
    ({"settings": {"Rest time": 0.5, "Use 3m": False}}, ["--set=Rest time=0.5", "--set=Use 3m=0"]),
])
@pytest.mark.filterwarnings("ignore::kavelin.Warning")
def test_a_file_gives_what_the_program_writes(tmp_path, program, options, arguments):
    files = [tmp_path / "program.csv", tmp_path / "python.csv"]
    for form in ("quaternion", "euler", "matrix"):
        ran = program("fuse", WALK, *arguments, "-o", files[0], "--as", form, f"--summary={tmp_path}/summary.json")
        result = kavelin.fuse(WALK, **options)
        result.to_csv(files[1], form)
        assert files[0].read_bytes() == files[1].read_bytes()
        assert result.summary == json.loads((tmp_path / "summary.json").read_text()) and result.status == ran.returncode
        assert result.text in ran.stderr
        table = np.genfromtxt(files[0], delimiter=",", skip_header=1)
        forms = {"quaternion": result.quaternion, "euler": result.euler(), "matrix": result.rotation().reshape(-1, 9)}
        assert np.array_equal(table[:, 0], result.t) and np.array_equal(table[:, 1:1 + forms[form].shape[1]], forms[form])
    rec = kavelin.read(WALK)
    assert same(kavelin.fuse(rec, **options), result, ())
    arrays = dict(acc=rec["3a"].value, gyr=rec["3g"].value, mag=rec["3m"].value, quat=rec["quat"].value)
    known = ("recording", "errors") if options.get("frame") == "ned" else ("recording",)  # arrays are relative to ENU
    assert same(kavelin.fuse(rec.t, **arrays, **options), result, known)
    errors, summary = result.errors(), result.summary["errors"]
    assert (errors.rms.total, errors.rms.heading, errors.rms.tilt) == tuple(summary[name] for name in ("total", "heading", "tilt"))
    assert errors.count == summary["rows"] and len(errors.t) == len(errors.total)
    assert np.isclose(np.sqrt(np.mean(errors.heading ** 2)), errors.rms.heading)
    assert np.isclose(np.sqrt(np.mean(errors.total ** 2)), errors.rms.total)


def test_tables_in_other_formats(tmp_path, program):
    for name in ("one.mat", "one.npz", "one.npy", "one.sto"):
        (tmp_path / "a").mkdir(exist_ok=True)
        program("fuse", WALK, "-o", tmp_path / "a" / name)
        kavelin.fuse(WALK).save(tmp_path / name)
        if name.endswith("npz"):
            one, other = (dict(np.load(path)) for path in (tmp_path / name, tmp_path / "a" / name))
            assert one.keys() == other.keys() and all(np.array_equal(one[key], other[key]) for key in one)
        elif not name.endswith("mat"):
            assert (tmp_path / name).read_bytes() == (tmp_path / "a" / name).read_bytes()
    for path, text in ((tmp_path / "no" / "one.csv", "no"), ("", "path: ")):
        with pytest.raises(kavelin.Error, match=text):
            kavelin.fuse(WALK).to_csv(path)
    with pytest.raises(kavelin.InvalidValue, match="its name ends in '.xyz'; .csv, .sto, .mat, .npz or .npy is expected"):
        kavelin.fuse(WALK).save(tmp_path / "one.xyz")
    with pytest.raises(kavelin.InvalidValue, match="form: 'angles'; quaternion, matrix or euler is expected"):
        kavelin.fuse(WALK).to_csv(tmp_path / "x.csv", "angles")


def test_flags_quality_bias_and_verdict():
    result = kavelin.fuse(WALK, scores=True)
    n = len(result)
    assert set(result.flags) == {"flag_rest", "flag_mag", "flag_mag_body"} and result.flags["flag_rest"].dtype == bool
    assert np.isclose(result.flags["flag_rest"].mean(), result.summary["flags"]["flag_rest"])
    assert set(np.unique(result.quality["envQuality"])) == {0, 1} and result.scores.shape == (n, 5, 2)
    assert result.bias.shape == (n, 3) and np.array_equal(result.bias[-1], result.summary["bias"])
    assert kavelin.fuse(WALK).scores is None and kavelin.fuse(WALK, filter="FilterAttitude").bias is None
    assert result.verdict.tilt.grade == "good" and result.verdict.tilt.text == "good" and result.verdict.evidence["seconds"] > 30
    assert result.settings["Rest time"] == 1.0 and result.settings["Use 3m"] is True
    assert np.allclose(np.linalg.norm(result.quaternion, axis=1), 1)
    assert np.allclose(result.rotation() @ result.rotation().transpose(0, 2, 1), np.eye(3))
    assert np.array_equal(result.euler(degrees=False) * (180 / np.pi), result.euler())
    assert result.frame == "sensor to earth (east, north, up)"
    frame = result.to_pandas()
    assert list(frame.columns[:7]) == ["qw", "qx", "qy", "qz", "flag_rest", "flag_mag", "flag_mag_body"] and len(frame) == n


def test_errors_against_any_reference(tmp_path, program):
    rec, result = kavelin.read(WALK), kavelin.fuse(WALK)
    own = result.errors()
    for reference in (WALK, rec, (rec.t, rec["quat"].value)):
        against = result.errors(reference)
        assert np.array_equal(against.t, own.t) and np.allclose(against.total, own.total, atol=1e-9)
        assert kavelin.fuse(WALK, reference=reference).errors().rms == against.rms
        assert np.isclose(against.rms.total, own.rms.total, rtol=1e-9)
    program("fuse", WALK, f"--reference={WALK}", f"--summary={tmp_path}/s.json", "-o", "/dev/null")
    assert against.rms.total == json.loads((tmp_path / "s.json").read_text())["errors"]["total"]
    down = kavelin.fuse(WALK, frame="ned", reference=result)
    for errors in (result.errors(result), result.errors(down), down.errors(result), down.errors()):
        assert errors.count == 4000 and errors.rms.total < 1e-9
    program("fuse", WALK, "--set=Use 3m=0", f"--reference={WALK}", f"--summary={tmp_path}/s.json", "-o", "/dev/null")
    without = kavelin.fuse(WALK, settings={"Use 3m": False}, quat=None)
    against, summary = without.errors(WALK), json.loads((tmp_path / "s.json").read_text())["errors"]
    assert against.rms.heading == summary["heading"] and against.aligned == summary["aligned"]
    turned = kavelin.fuse(rec.t + 0.005, acc=rec["3a"].value, gyr=rec["3g"].value, mag=rec["3m"].value)
    assert abs(turned.errors(rec, align="heading").turn) < 3 and turned.errors(rec).count == 3999
    with pytest.raises(kavelin.InvalidValue, match="there is no reference"):
        turned.errors()
    with pytest.raises(kavelin.InvalidValue, match="align: 'up'"):
        turned.errors(rec, align="up")
    with pytest.raises(kavelin.InvalidValue, match="a reference needs the columns"):
        turned.errors(kavelin.Recording(rec.t, acc=rec["3a"].value))
    with pytest.raises(kavelin.InvalidValue, match="thumb"):
        turned.errors(WALK + "#thumb")
    with pytest.raises(kavelin.MissingFile):
        turned.errors("no.csv#thumb")
    with pytest.raises(kavelin.WrongType, match="a path, a Recording, a Result"):
        turned.errors(3)


def test_a_reference_with_nothing_to_compare_is_refused(tmp_path):
    rec, result = kavelin.read(WALK), kavelin.fuse(WALK)
    t, q = rec.t, rec["quat"].value
    for reference, text in (((t + 1000, q), "the result goes from 0 s to 39.99 s, the reference begins at 1000 s"),
                            ((t - 1000, q), "the reference goes from -1000 s to -960.01 s"),
                            ((t, q * 0), "all 4000 quaternions of the reference are zero"),
                            ((t, q * np.nan), "the reference has no quaternion in any row"),
                            ((t[:0], q[:0]), "the reference has no quaternion in any row")):
        for compare in (lambda: result.errors(reference), kavelin.fuse(WALK, reference=reference).errors):
            with pytest.raises(kavelin.InvalidValue) as refusal:
                compare()
            assert "no row has both an attitude and a reference" in str(refusal.value) and text in str(refusal.value)
    (tmp_path / "never.csv").write_text("t_start,t_end\n100,200\n")
    for compared, text in ((kavelin.fuse(WALK, movement=tmp_path / "never.csv"), "lies in an interval of .*never.csv"),
                           (kavelin.fuse(t, acc=rec["3a"].value, gyr=rec["3g"].value, quat=q * 0), "no quaternion other than")):
        with pytest.raises(kavelin.InvalidValue, match=text):
            compared.errors()


def test_a_reference_is_compared_in_its_own_earth():
    rec, expected = kavelin.read(WALK), kavelin.fuse(WALK).errors().rms.total
    arrays = dict(t=rec.t, acc=rec["3a"].value, gyr=rec["3g"].value, mag=rec["3m"].value, quat=rec["quat"].value)
    own = (rec.t, arrays["quat"])
    down = kavelin.fuse(**arrays, frame="ned")
    for errors in (down.errors(), down.errors(own), kavelin.fuse(kavelin.Recording(**arrays), frame="ned").errors(),
                   kavelin.fuse(WALK, frame="ned", reference=own).errors()):
        assert np.isclose(errors.rms.total, expected) and not errors.notes
    assert "the reference is taken" not in down.text
    for errors in (kavelin.fuse(WALK, frame="ned").errors, lambda: down.errors(WALK), lambda: down.errors(rec)):
        with pytest.warns(kavelin.Warning, match="the reference is taken as relative to North-East-Down"):
            assert errors().rms.total > 170
    relative = kavelin.fuse(WALK, filter="FilterAGMAttitude_v5", errors="ignore")
    assert relative.errors(relative).rms.total < 1e-9 and relative.errors(WALK).count == len(relative)
    for compare in (down.errors, lambda one: kavelin.fuse(WALK, reference=one)):
        with pytest.raises(kavelin.InvalidValue, match="the reference is the attitude of FilterAGMAttitude_v5, .*align chooses"):
            compare(relative)
    assert down.errors(relative, align="start").count > 0
    simulated = kavelin.simulate(seconds=60)
    assert np.isclose(kavelin.fuse(simulated, frame="ned").errors().rms.total, kavelin.fuse(simulated).errors().rms.total)


def test_calibration_and_mounting(tmp_path, program):
    program("simulate", "--seed=2", "--seconds=60", "--hard-iron=15,-10,5", "-o", tmp_path / "rec.csv")
    assert program("calibrate", "mag", tmp_path / "rec.csv", "-o", tmp_path / "rec.json").returncode in (0, 1)
    for calibration in (tmp_path / "rec.json", {"rec": tmp_path / "rec.json"}, tmp_path):
        ran = program("fuse", tmp_path / "rec.csv", "--calibration", tmp_path / "rec.json", "-o", tmp_path / "a.csv")
        with warnings.catch_warnings():
            warnings.simplefilter("always", kavelin.RecordingWarning)
            result = kavelin.fuse(kavelin.read(tmp_path / "rec.csv"), calibration=calibration)
        result.to_csv(tmp_path / "b.csv")
        assert (tmp_path / "a.csv").read_bytes() == (tmp_path / "b.csv").read_bytes() and "calibration" in result.summary
    (tmp_path / "mount.json").write_text('{"format": "kavelin calibration", "version": 1, '
                                         '"mount": {"q_segment_sensor": [0.7071067811865476, 0, 0, 0.7071067811865476]}}')
    mounted = kavelin.fuse(WALK, mount=tmp_path / "mount.json")
    for errors in (mounted.errors(mounted), mounted.errors(kavelin.fuse(WALK)), kavelin.fuse(WALK).errors(mounted)):
        assert errors.rms.total < 1e-9 and errors.count == 4000
    for missing in ("calibration", "mount", "movement"):
        with pytest.raises(kavelin.MissingFile, match=f"{missing}: no file 'no.json'"):
            kavelin.fuse(WALK, **{missing: "no.json"})
    with pytest.raises(kavelin.InvalidValue, match="no file for rec"):
        kavelin.fuse(tmp_path / "rec.csv", calibration={"other": tmp_path / "rec.json"})


def test_what_the_program_ends_with_1_for_is_a_warning(tmp_path, program):
    rec = kavelin.simulate(seconds=10, gyro_unit="deg/s")
    with pytest.warns(kavelin.RecordingWarning) as seen:
        result = kavelin.fuse(rec)
    assert result.status == 1 and [str(one.message) for one in seen] == result.messages
    assert any("3g=deg/s" in text for text in result.messages) and seen[0].filename == __file__
    (tmp_path / "rec.csv").write_text("t,ax,ay,az,gx,gy,gz\n" + "".join(f"{i},0,0,9.81,0,0,oh\n" for i in range(5)))
    said = program("fuse", tmp_path / "rec.csv", "--quiet", "-o", "/dev/null").stderr.splitlines()
    with pytest.warns(kavelin.RecordingWarning):
        result = kavelin.fuse(tmp_path / "rec.csv")
    assert ["kavelin: " + text for text in result.messages] == said and len(result) == 0 and len(said) > 5
    assert result.euler().shape == (0, 3) and result.rotation().shape == (0, 3, 3)
    with pytest.raises(kavelin.RunError, match="no attitude came out") as raised:
        kavelin.fuse(tmp_path / "rec.csv", errors="raise")
    ignored = kavelin.fuse(tmp_path / "rec.csv", errors="ignore")
    assert raised.value.result.messages == ignored.messages == result.messages
    with pytest.raises(kavelin.InvalidValue, match='errors: \'no\'; "raise", "warn" or "ignore" is expected'):
        kavelin.fuse("no.csv", errors="no")


@pytest.mark.parametrize("call, text", [
    (dict(recording=None), "a recording is expected"),
    (dict(recording=3), "recording: a path, a kavelin.Recording"),
    (dict(recording=np.zeros(3)), "recording: a path, a kavelin.Recording"),
    (dict(recording=WALK, acc=np.zeros((3, 3))), "a recording and arrays are given"),
    (dict(recording=np.zeros(3), t=np.zeros(3), acc=np.zeros((3, 3))), "t is given twice"),
    (dict(filter="FilterAtitude"), "There is no filter type 'FilterAtitude'; the nearest"),
    (dict(filter="FilterCompass"), "FilterCompass"),
    (dict(filter=3), "filter: a text is expected; this is int"),
    (dict(settings={"Rest tim": 1}), '--set "Rest tim=1": no filter has a property "Rest tim"; did you mean "Rest time"? Filters'),
    (dict(settings={"result:Rows": 1}), 'no filter is named "result"'),
    (dict(settings={"Rest time": "long"}), '"Rest time"'),
    (dict(settings={"Rest time": object()}), "settings: Rest time: a bool, a number, a text or an array is expected"),
    (dict(settings={"Rest time=3": 1}), "the name of a property is expected"),
    (dict(settings={"Rest time": True}), '"Rest time": takes a number; this is true'),
    (dict(settings={"estimator:Rest time": True}), '"Rest time": takes a number; this is true'),
    (dict(filter="FilterAGMAttitude_v8", settings={"Init time": 2.5}), '"Init time": takes a whole number; this is 2.5'),
    (dict(filter="FilterAttitude", settings={"Mode": -1}), '"Mode": takes a label or its index; this is -1'),
    (dict(units={}), "units: it is empty"),
    (dict(plugins=3), "a name or several are expected; this is int"),
    (dict(settings={1: 2}), "the name of a property is expected"),
    (dict(settings=[1]), "settings: a dict"),
    (dict(frame="up"), "--frame"),
    (dict(align="up"), "--align"),
    (dict(output_rate=-1), "output_rate: -1.0; a number above 0 is expected, in Hz"),
    (dict(output_rate=0), "output_rate: 0.0; a number above 0"),
    (dict(rate=float("nan")), "rate: nan; a number above 0"),
    (dict(settings={"Rest time": np.array([0.5])}), '"Rest time": takes a number; this is a matrix'),
    (dict(settings={"Rest time": []}), '"Rest time": takes a number; this is a matrix'),
    (dict(settings={"Rest time": float("nan")}), "takes a number from 0.1 to 60; this is nan"),
    (dict(units={"acc": "g", "3a": "m/s^2"}), "units: acc and 3a are the same"),
    (dict(recording=np.zeros(3), acc=np.zeros((3, 3)), format="apdm_csv"), "format: it is of a file"),
    (dict(recording=np.zeros(3), acc=np.zeros((3, 3)), map="t = x", sensor="a"), "sensor, map: it is of a file"),
    (dict(recording=None, acc=np.zeros((3, 3))), "t: there are no time stamps; give t, in s, or rate, in Hz"),
    (dict(output_rate="fast"), "output_rate: a number is expected"),
    (dict(calibration="no.json"), "no.json"),
    (dict(reference="no.csv"), "no.csv"),
    (dict(movement="no.csv"), "no.csv"),
    (dict(plugins=["NoPlugin"]), "NoPlugin"),
])
def test_wrong_usage_is_refused_with_the_text_of_the_program(call, text):
    with pytest.raises(kavelin.Error) as refusal:
        kavelin.fuse(**{"recording": WALK, **call})
    assert text in str(refusal.value)


def test_a_recording_in_memory_keeps_how_it_was_read():
    rec = kavelin.read(WALK)
    for options in ({"axes": "y,-x,z"}, {"settings": {"Axes": "y,-x,z"}}, {"rate": 50}):
        with pytest.raises(kavelin.InvalidValue, match="in memory"):
            kavelin.fuse(rec, **options)
    turned = kavelin.read(WALK, axes="y,-x,z", rate=50)
    assert same(kavelin.fuse(turned), kavelin.fuse(WALK, axes="y,-x,z", rate=50), ())


@pytest.mark.filterwarnings("ignore::kavelin.RecordingWarning")
@pytest.mark.parametrize("n", [0, 1, 2, 3000])
@pytest.mark.parametrize("value", [0.0, np.nan, np.inf, 1e300, -1e-320])
def test_hostile_numbers_do_no_harm(n, value):
    t, samples = np.arange(n) * 0.01, np.full((n, 3), value)
    for filter in ("FilterSO3Attitude", "FilterAGMAttitude_v7"):
        result = kavelin.fuse(t, acc=samples, gyr=samples, mag=samples, quat=np.full((n, 4), value), filter=filter, scores=True)
        assert len(result) <= n and result.euler().shape == (len(result), 3)
        try:
            assert 0 < result.errors().count <= n
        except kavelin.InvalidValue as refusal:
            assert "to compare" in str(refusal) or "no row has both" in str(refusal)
        assert len(result.to_pandas()) == len(result) and repr(result)
    try:
        kavelin.fuse(np.full(n, value), acc=samples, gyr=samples)
    except kavelin.InvalidValue as refusal:
        assert "stands still" in str(refusal)


@pytest.mark.filterwarnings("ignore::kavelin.RecordingWarning")
def test_an_array_changed_during_a_run_and_runs_in_several_threads():
    rec = kavelin.simulate(seconds=100)
    t, acc, gyr = rec.t.copy(), rec["3a"].value.copy(), rec["3g"].value.copy()
    expected = kavelin.fuse(rec)
    ends, results = threading.Event(), []

    def change():
        while not ends.is_set():
            t[:], acc[:], gyr[:] = t[::-1].copy(), np.nan, 1e9
            t[:], acc[:], gyr[:] = rec.t, rec["3a"].value, rec["3g"].value

    threads = [threading.Thread(target=change)]
    threads += [threading.Thread(target=lambda: results.append(kavelin.fuse(rec))) for _ in range(3)]
    for thread in threads:
        thread.start()
    for _ in range(3):
        kavelin.fuse(t, acc=acc, gyr=gyr)
    ends.set()
    for thread in threads:
        thread.join()
    assert all(same(one, expected) for one in results) and len(results) == 3


def test_ctrl_c_ends_a_run_and_leaves_everything_usable():
    rec = kavelin.simulate(seconds=3000)
    thread = threading.Thread(target=lambda: os.kill(os.getpid(), signal.SIGINT))
    with pytest.raises(KeyboardInterrupt):
        thread.start()
        for _ in range(100):
            kavelin.fuse(rec)
    thread.join()
    assert len(kavelin.fuse(WALK)) == 4000


def test_contiguous_arrays_are_not_copied(python):
    seen = python("""
import resource, numpy as np, kavelin
n = 500_000
t = np.arange(n) * 0.01; acc = np.tile([0, 0, 9.81], (n, 1)); gyr = np.zeros((n, 3)); mag = np.tile([0., 20, -40], (n, 1))
kavelin.fuse(t[:1000], acc=acc[:1000], gyr=gyr[:1000], mag=mag[:1000])
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
result = kavelin.fuse(t, acc=acc, gyr=gyr, mag=mag)
# A row of the result: t, q, bias with its t, three flags, two qualities, in arrays that have grown to at most twice that.
print((resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before) * 1024 / n)
""")
    assert float(seen.stdout) < 2 * (1 + 4 + 4 + 5) * 8, seen.stderr


def test_results_outlive_their_recording_and_each_other():
    t = kavelin.fuse(WALK).t
    pin = kavelin.read(WALK)["3a"].value
    arrays = [np.ones((4000, 3)) for _ in range(20)]  # would lie where these were
    assert t[-1] == 39.99 and np.isclose(np.linalg.norm(pin, axis=1).mean(), 9.81, atol=0.5) and len(arrays) == 20
