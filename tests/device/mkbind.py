#!/usr/bin/python3
"""The table that binds a device library's imports to the device on the desk, as C++.

usage: mkbind.py coredll-functions.txt platform/Runtime.h
"""
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "device"))
from mkdef import allowed  # noqa: E402


def main():
    names = sorted(set(allowed(sys.argv[1], "provider")) | set(allowed(sys.argv[1], "log")))
    # Those that the C library has too carry ce_ in front on Linux.
    renamed = set(re.findall(r"CE_SYMBOL\((\w+)\)", open(sys.argv[2], encoding="ascii").read()))
    symbols = {name: ("ce_" + name if name in renamed else name) for name in names}
    print("// Made by mkbind.py.\nextern \"C\" {")
    for name in names:
        print(f"void {symbols[name]}();")
    print("}\nnamespace wkt {\nvoid* FindCoredllFunction(const char* name);\n}")
    print("#include <cstring>\nnamespace {\nstruct Function {\n  const char* name;\n  void (*function)();\n};")
    print("constexpr Function kFunctions[] = {")
    for name in names:
        print(f'    {{"{name}", {symbols[name]}}},')
    print("""};
}  // namespace

void* wkt::FindCoredllFunction(const char* name) {
  for (const Function& entry : kFunctions) {
    if (std::strcmp(entry.name, name) == 0)
      return reinterpret_cast<void*>(entry.function);
  }
  return nullptr;
}""")


if __name__ == "__main__":
    main()
