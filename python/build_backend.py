"""Builds the package with CMake; what pip calls (PEP 517). Needs nothing but Python's own library.

The variable CMAKE_ARGS is given to CMake, such as -DMOXJ_BUNDLE=ON, which builds the library in even where one is
installed. MOXJ_BUILD_DIR names a directory for the build, which is kept."""

import base64
import hashlib
import os
import pathlib
import re
import shlex
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import tomllib
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent
PROJECT = tomllib.loads((ROOT / "pyproject.toml").read_text(encoding="utf-8"))["project"]
SOURCES = ["pyproject.toml", "README.md", "CMakeLists.txt", "build_backend.py", "moxj/*.py", "moxj/*.pyi",
           "moxj/py.typed", "src/*", "Install.cmake"]


def version():
    """That of the library: from its header, or in a source archive of the package from the file VERSION."""
    header = ROOT.parent / "include" / "moxj.h"
    if header.exists():
        parts = [re.search(rf"^#define MOXJ_VERSION_{part} (\d+)$", header.read_text(), re.M).group(1)
                 for part in ("MAJOR", "MINOR", "PATCH")]
        return ".".join(parts)
    return (ROOT / "VERSION").read_text().strip()


def metadata():
    lines = ["Metadata-Version: 2.1", "Name: " + PROJECT["name"], "Version: " + version(),
             "Summary: " + PROJECT["description"], "Requires-Python: " + PROJECT["requires-python"]]
    lines += ["Requires-Dist: " + package for package in PROJECT["dependencies"]]
    for extra, packages in PROJECT["optional-dependencies"].items():
        lines += ["Provides-Extra: " + extra]
        lines += [f'Requires-Dist: {package}; extra == "{extra}"' for package in packages]
    lines += ["Description-Content-Type: text/markdown", "", (ROOT / PROJECT["readme"]).read_text(encoding="utf-8")]
    return "\n".join(lines)


def entry_points():
    lines = []
    for group, points in PROJECT["entry-points"].items():
        lines += [f"[{group}]"] + [f"{name} = {target}" for name, target in points.items()] + [""]
    return "\n".join(lines)


def tag():
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    return f"{python}-{python}-{re.sub('[-.]', '_', sysconfig.get_platform())}"


def build_native(build, directory):
    """Builds in `build`; the native module as a file in `directory`."""
    installed = os.path.join(directory, "installed")
    generator = ["-G", "Ninja"] if not subprocess.run(["which", "ninja"], capture_output=True).returncode else []
    subprocess.run(["cmake", *generator, "-S", ROOT, "-B", build, "-DPython_EXECUTABLE=" + sys.executable,
                    "-DMOXJ_LIBRARY_VERSION=" + version(), *shlex.split(os.environ.get("CMAKE_ARGS", ""))], check=True)
    subprocess.run(["cmake", "--build", build, "--parallel", str(os.cpu_count() or 1), "--target", "moxj-python"],
                   check=True)
    subprocess.run(["cmake", "--install", build, "--prefix", installed, "--component", "python", "--strip"], check=True)
    return next(pathlib.Path(installed, "moxj").glob("_native*"))


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def info_files():
    return {"METADATA": metadata(), "WHEEL": f"Wheel-Version: 1.0\nGenerator: {PROJECT['name']}\n"
                                             f"Root-Is-Purelib: false\nTag: {tag()}\n",
            "entry_points.txt": entry_points()}


def info_name():
    return f"{PROJECT['name']}-{version()}.dist-info"


def write_info(directory):
    """The folder of metadata that an installed package has; returns its name."""
    folder = pathlib.Path(directory, info_name())
    folder.mkdir(exist_ok=True)
    for name, text in info_files().items():
        (folder / name).write_text(text, encoding="utf-8")
    return info_name()


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    return write_info(metadata_directory)


def checksum(data):
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    name = f"{PROJECT['name']}-{version()}-{tag()}.whl"
    files = {"moxj/" + path.name: path.read_bytes() for pattern in ("*.py", "*.pyi", "py.typed")
             for path in sorted((ROOT / "moxj").glob(pattern))}
    with tempfile.TemporaryDirectory() as directory:
        native = build_native(os.environ.get("MOXJ_BUILD_DIR") or os.path.join(directory, "build"), directory)
        files["moxj/" + native.name] = native.read_bytes()
    files.update({f"{info_name()}/{name}": text.encode() for name, text in info_files().items()})
    record = [f"{path},sha256={checksum(data)},{len(data)}" for path, data in files.items()]
    files[info_name() + "/RECORD"] = "\n".join([*record, info_name() + "/RECORD,,", ""]).encode()
    with zipfile.ZipFile(os.path.join(wheel_directory, name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in files.items():
            entry = zipfile.ZipInfo(path)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = (0o755 if path.endswith(".so") else 0o644) << 16
            wheel.writestr(entry, data)
    return name


def build_sdist(sdist_directory, config_settings=None):
    """The package alone: it needs an installed library, then."""
    stem = f"{PROJECT['name']}-{version()}"
    with tarfile.open(os.path.join(sdist_directory, stem + ".tar.gz"), "w:gz", format=tarfile.PAX_FORMAT) as archive, \
            tempfile.TemporaryDirectory() as directory:
        for pattern in SOURCES:
            for path in sorted(ROOT.glob(pattern)):
                archive.add(path, f"{stem}/{path.relative_to(ROOT)}", recursive=False)
        for name, text in ("VERSION", version() + "\n"), ("PKG-INFO", metadata()):
            path = pathlib.Path(directory, name)
            path.write_text(text, encoding="utf-8")
            archive.add(path, f"{stem}/{name}")
    return stem + ".tar.gz"
