#!/usr/bin/python3
"""What an installer has to do on a device, as JSON: files to copy, registry values to write.

usage: mkinstall.py CMakeLists.txt FOLDER
FOLDER holds the libraries, a folder per machine; each file is named with its size and SHA-256.
"""
import hashlib
import json
import pathlib
import re
import sys

INSTALL_PATH = "\\Program Files\\Worktally\\"


MACHINES = {"arm": "ARMv4 and later, machine 0x1C0", "x86": "machine 0x14C"}


def file_entry(folder, name):
    entry = {"target": INSTALL_PATH + name, "required": name == "WktDevSync.dll", "sources": {}}
    for machine in MACHINES:
        content = (folder / machine / name).read_bytes()
        entry["sources"][machine] = {"path": f"{machine}/{name}", "bytes": len(content),
                                     "sha256": hashlib.sha256(content).hexdigest()}
    return entry


def main():
    version = re.search(r"^project\(Worktally VERSION ([0-9.]+)", open(sys.argv[1]).read(), re.M).group(1)
    libraries = ["WktDevSync.dll", "WktDevLog.dll"]
    folders = ["WktActivities", "WktFavorites", "WktTypes"]
    objects = "Windows CE Services\\Synchronization\\Objects\\"
    description = {
        "product": "Worktally device synchronisation",
        "version": version,
        "minimumSystem": "Windows CE 4.0",
        "machines": MACHINES,
        "files": [file_entry(pathlib.Path(sys.argv[2]), name) for name in libraries],
        "registry": [{"root": "HKEY_LOCAL_MACHINE", "key": "SOFTWARE\\Worktally", "value": "InstallPath",
                      "type": "REG_SZ", "data": INSTALL_PATH}]
        + [{"root": "HKEY_LOCAL_MACHINE", "key": objects + folder, "value": "Store", "type": "REG_SZ",
            "data": INSTALL_PATH + "WktDevSync.dll"} for folder in folders],
    }
    json.dump(description, sys.stdout, indent=2)
    print()


if __name__ == "__main__":
    main()
