"""The recipe of the tree that it stands in: conan create packaging/conan --build=missing"""

import re
from pathlib import Path

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps

TREE = Path(__file__).resolve().parent.parent.parent


class JNFoundation(ConanFile):
    name = "jnfoundation"
    license = "MIT"
    description = "Asynchronous results, an object store and record mapping for applications"
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": False, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def set_version(self):
        header = (TREE / "JNFoundation" / "Version.h").read_text()
        self.version = ".".join(
            re.findall(r"(?m)^#define JN_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$", header))

    def export_sources(self):
        for pattern in ["CMakeLists.txt", "LICENSE", "cmake/*", "debugging/*", "JNFoundation/*",
                        "adapters/*"]:
            copy(self, pattern, src=str(TREE), dst=self.export_sources_folder)

    def requirements(self):
        self.requires("sqlite3/[>=3.40 <4]")
        self.requires("simdjson/[>=3.0 <4]")
        self.requires("utf8proc/[>=2.8 <3]")
        self.requires("pcre2/[>=10.40 <11]")
        self.requires("pugixml/[>=1.13 <2]")

    def build_requirements(self):
        self.tool_requires("pkgconf/[>=1.9 <3]")

    def validate(self):
        check_min_cppstd(self, 20)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["JN_ADAPTERS"] = ""
        for part in ["TESTS", "EXAMPLES", "TOOLS"]:
            toolchain.cache_variables[f"JN_BUILD_{part}"] = False
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()
        copy(self, "LICENSE", src=self.source_folder, dst=str(Path(self.package_folder) / "licenses"))

    def package_info(self):
        # The package's own CMake files name its targets; Conan's would be others.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append(str(Path("lib") / "cmake" / "JNFoundation"))
        self.cpp_info.libs = ["JNFoundationTesting", "JNFoundation"]
        if self.settings.os in ("Linux", "FreeBSD"):
            self.cpp_info.system_libs = ["pthread"]
