"""Runs Conan's recipe with classes of the same names that do here what Conan's do there, as far as
the recipe can see it: recipe.py RECIPE DIRECTORY JOBS. The package is in DIRECTORY/package."""

import fnmatch
import os
import runpy
import shutil
import subprocess
import sys
import types
from pathlib import Path


class ConanFile:
    def __init__(self, directory):
        self.settings = types.SimpleNamespace(os="Linux", compiler="gcc", build_type="Release", arch="x86_64")
        self.options = types.SimpleNamespace(**self.default_options)
        self.export_sources_folder = self.source_folder = str(directory / "source")
        self.build_folder = str(directory / "build")
        self.package_folder = str(directory / "package")
        self.cpp_info = Information()

    def requires(self, reference):
        pass

    tool_requires = requires


class Information:
    def __init__(self):
        self.properties, self.builddirs, self.libs, self.system_libs = {}, [], [], []

    def set_property(self, name, value):
        self.properties[name] = value


class CMakeToolchain:
    def __init__(self, recipe):
        self._recipe, self.cache_variables = recipe, {}

    def generate(self):
        self._recipe.cache = self.cache_variables


class Generator:
    def __init__(self, recipe):
        pass

    def generate(self):
        pass


class CMake:
    def __init__(self, recipe):
        self._recipe = recipe

    def configure(self):
        def text(value):
            return {True: "ON", False: "OFF"}.get(value, value)
        options = self._recipe.options
        run("cmake", "-S", self._recipe.source_folder, "-B", self._recipe.build_folder, "-G", "Ninja",
            "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=40",
            f"-DBUILD_SHARED_LIBS={text(options.shared)}",
            f"-DCMAKE_POSITION_INDEPENDENT_CODE={text(options.fPIC)}",
            *(f"-D{name}={text(value)}" for name, value in self._recipe.cache.items()))

    def build(self):
        run("cmake", "--build", self._recipe.build_folder, "--parallel", JOBS)

    def install(self):
        run("cmake", "--install", self._recipe.build_folder, "--prefix", self._recipe.package_folder)


def copy(recipe, pattern, src, dst):
    """Conan's patterns are matched against the path within the folder, and * takes slashes too."""
    found = [path for path in sorted(Path(src).rglob("*"))
             if path.is_file() and fnmatch.fnmatch(path.relative_to(src).as_posix(), pattern)]
    if not found:
        sys.exit(f"{pattern}: no such file in {src}")
    for path in found:
        to = Path(dst) / path.relative_to(src)
        to.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(path, to)


def run(*command):
    subprocess.run([str(part) for part in command], check=True)


def stand_in():
    """Puts the modules that the recipe imports in place."""
    parts = {
        "conan": {"ConanFile": ConanFile},
        "conan.tools": {},
        "conan.tools.build": {"check_min_cppstd": lambda recipe, least: None},
        "conan.tools.cmake": {"CMake": CMake, "CMakeDeps": Generator, "CMakeToolchain": CMakeToolchain,
                              "cmake_layout": lambda recipe: None},
        "conan.tools.files": {"copy": copy},
        "conan.tools.gnu": {"PkgConfigDeps": Generator},
    }
    for name, members in parts.items():
        module = types.ModuleType(name)
        vars(module).update(members)
        sys.modules[name] = module


def main():
    stand_in()
    kind = next(value for value in runpy.run_path(sys.argv[1]).values()
                if isinstance(value, type) and issubclass(value, ConanFile) and value is not ConanFile)
    directory = Path(sys.argv[2]).resolve()
    shutil.rmtree(directory, ignore_errors=True)
    recipe = kind(directory)
    recipe.set_version()
    recipe.export_sources()
    recipe.requirements()
    recipe.build_requirements()
    recipe.layout()
    recipe.validate()
    recipe.generate()
    os.makedirs(recipe.build_folder)
    recipe.build()
    recipe.package()
    recipe.package_info()
    package = Path(recipe.package_folder)
    for library in recipe.cpp_info.libs:
        if not (package / "lib" / f"lib{library}.a").exists():
            sys.exit(f"package_info names {library}, which the package does not have")
    for folder in recipe.cpp_info.builddirs:
        if not (package / folder).is_dir():
            sys.exit(f"package_info names {folder}, which the package does not have")
    print(f"{recipe.name} {recipe.version}")


JOBS = sys.argv[3]
main()
