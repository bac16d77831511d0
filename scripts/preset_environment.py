#!/usr/bin/env python3
"""Prints the environment that CMakePresets.json gives the tests of a preset, NAME=VALUE a line."""

import json
import sys

import tree

presets = {each["name"]: each for each in json.loads(tree.text("CMakePresets.json"))["testPresets"]}
environment = {}
name = sys.argv[1]
while name:
    environment = {**presets[name].get("environment", {}), **environment}
    name = presets[name].get("inherits")
for variable, value in environment.items():
    print(f"{variable}={value}")
