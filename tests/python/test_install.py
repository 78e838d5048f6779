"""`cmake --install --component python` gives a package that imports and renders
outside the build tree: the extension finds its shared libraries beside it."""

import os
import pathlib
import subprocess
import sys

import pytest

from conftest import PRESS_SHEET


def test_the_installed_package_renders(tmp_path):
    cmake = os.environ.get("QORSC_CMAKE")
    build = os.environ.get("QORSC_BUILD_DIR")
    site = os.environ.get("QORSC_PYTHON_INSTALL_DIR")
    if not (cmake and build and site):
        pytest.skip("run through CTest, which names the build and install directories")
    if not os.path.isabs(site):
        pytest.skip("QORSC_PYTHON_INSTALL_DIR is relative to the install prefix")
    subprocess.run([cmake, "--install", build, "--component", "python"], check=True,
                   capture_output=True, env={**os.environ, "DESTDIR": str(tmp_path)})
    installed = tmp_path / pathlib.Path(site).relative_to("/")
    assert (installed / "qorsc" / "__init__.py").is_file()
    script = ("import sys, qorsc; page = qorsc.open(sys.argv[1])[0];"
              "print(qorsc.__file__, page.render(dpi=10).shape)")
    env = {key: value for key, value in os.environ.items() if key != "PYTHONPATH"}
    env["PYTHONPATH"] = str(installed)
    result = subprocess.run([sys.executable, "-c", script, str(PRESS_SHEET)], check=True,
                            capture_output=True, text=True, env=env, cwd=tmp_path)
    assert result.stdout.startswith(str(installed / "qorsc"))
    assert "(6, 83, 117)" in result.stdout
