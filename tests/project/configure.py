"""A plain configuration takes any compiler's warnings; each preset makes them errors.

configure.py PROJECT-FOLDER COMPILER
"""
import json
import pathlib
import subprocess
import sys
import tempfile

project, compiler = sys.argv[1:]


def commands(folder, *arguments):
    subprocess.run(
        ["cmake", "-S", project, "-B", folder, f"-DCMAKE_CXX_COMPILER={compiler}",
         "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", "-DFLOWSPEC_TESTS=OFF", *arguments],
        check=True, stdout=subprocess.DEVNULL)
    text = (pathlib.Path(folder) / "compile_commands.json").read_text()
    return [entry["command"] for entry in json.loads(text)]


def inherited(presets, name, variable):
    """What the preset sets the variable to, itself or through one that it inherits."""
    preset = presets[name]
    if variable in preset.get("cacheVariables", {}):
        return preset["cacheVariables"][variable]
    parents = preset.get("inherits", [])
    for parent in [parents] if isinstance(parents, str) else parents:
        value = inherited(presets, parent, variable)
        if value is not None:
            return value
    return None


faults = []
with tempfile.TemporaryDirectory() as work:
    if any("-Werror" in command for command in commands(work)):
        faults.append("a plain configuration makes warnings errors")
    if not all("-Werror" in command
               for command in commands(work, "-DCMAKE_COMPILE_WARNING_AS_ERROR=ON")):
        faults.append("CMAKE_COMPILE_WARNING_AS_ERROR=ON does not make warnings errors")

listed = json.loads((pathlib.Path(project) / "CMakePresets.json").read_text())["configurePresets"]
by_name = {preset["name"]: preset for preset in listed}
for name, preset in by_name.items():
    if not preset.get("hidden") and \
            inherited(by_name, name, "CMAKE_COMPILE_WARNING_AS_ERROR") != "ON":
        faults.append(f"preset {name} does not make warnings errors")

sys.exit("\n".join(faults) or 0)
