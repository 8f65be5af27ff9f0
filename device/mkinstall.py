#!/usr/bin/python3
"""What an installer has to do on a device, as JSON: files to copy, registry values to write.

usage: mkinstall.py CMakeLists.txt
"""
import json
import re
import sys

INSTALL_PATH = "\\Program Files\\Worktally\\"


def main():
    version = re.search(r"^project\(Worktally VERSION ([0-9.]+)", open(sys.argv[1]).read(), re.M).group(1)
    libraries = ["WktDevSync.dll", "WktDevLog.dll"]
    folders = ["WktActivities", "WktFavorites", "WktTypes"]
    objects = "Windows CE Services\\Synchronization\\Objects\\"
    description = {
        "product": "Worktally device synchronisation",
        "version": version,
        "minimumSystem": "Windows CE 4.0",
        "machines": {"arm": "ARMv4 and later, machine 0x1C0", "x86": "machine 0x14C"},
        "files": [{"source": "{machine}/" + name, "target": INSTALL_PATH + name,
                   "required": name == "WktDevSync.dll"} for name in libraries],
        "registry": [{"root": "HKEY_LOCAL_MACHINE", "key": "SOFTWARE\\Worktally", "value": "InstallPath",
                      "type": "REG_SZ", "data": INSTALL_PATH}]
        + [{"root": "HKEY_LOCAL_MACHINE", "key": objects + folder, "value": "Store", "type": "REG_SZ",
            "data": INSTALL_PATH + "WktDevSync.dll"} for folder in folders],
    }
    json.dump(description, sys.stdout, indent=2)
    print()


if __name__ == "__main__":
    main()
