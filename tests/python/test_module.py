import kavelin


def test_version_is_that_of_the_program(program):
    assert program("--version").stdout == f"kavelin {kavelin.__version__}\n"


def test_filters_say_when_to_use_them():
    uses = kavelin.filters()
    assert "gyroscope" in uses["FilterSO3Attitude"]
    assert all(uses.values()), "a page of docs/filters was not understood"


def test_unusable_plugin_is_a_warning(python, tmp_path):
    (tmp_path / "KavelinPluginBroken.so").write_text("no module")
    seen = python("import kavelin; print('FilterCompass' in kavelin.filters())", KAVELIN_PLUGIN_PATH=str(tmp_path))
    assert seen.stdout == "True\n"
    assert "Warning: plugin left out: " in seen.stderr and "KavelinPluginBroken.so" in seen.stderr


def test_named_plugin_that_cannot_be_loaded_is_refused(tmp_path):
    import pytest
    with pytest.raises(FileNotFoundError, match="nowhere"):
        kavelin.Filter("FilterCompass", plugin=tmp_path / "nowhere.so")
