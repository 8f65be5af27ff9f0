# ce_library(NAME COLUMN column DESCRIPTION text EXPORTS exports.map SOURCES ...): NAME.dll for Windows CE in the
# build folder, and NAME.other.dll, the same linked at another base, from which the relocations are proved.
# EXPORTS is the version script that the library has on Linux, so that both worlds export the same names;
# DllMain alone is found through the entry here.
set(CE_BASE 0x10000000)
set(CE_OTHER_BASE 0x23450000)
find_program(CE_WINDRES i686-w64-mingw32-windres REQUIRED)

function(ce_library name)
  cmake_parse_arguments(ARG "" "COLUMN;DESCRIPTION;EXPORTS" "SOURCES" ${ARGN})
  set(here "${CMAKE_CURRENT_SOURCE_DIR}")
  set(out "${CMAKE_CURRENT_BINARY_DIR}")

  add_library(${name}_objects OBJECT ${ARG_SOURCES} "${here}/rt.cpp")
  target_link_libraries(${name}_objects PRIVATE ce_flags)

  file(STRINGS "${ARG_EXPORTS}" main REGEX "^ *DllMain;")
  if(main)
    target_compile_definitions(${name}_objects PRIVATE CE_HAS_DLL_MAIN)
  endif()

  set(CE_NAME ${name})
  set(CE_DESCRIPTION "${ARG_DESCRIPTION}")
  configure_file("${here}/version.rc.in" "${out}/${name}.rc" @ONLY)
  ce_exports("${ARG_EXPORTS}" exported)
  set(exports "${out}/${name}.def")
  list(JOIN exported "\n  " lines)
  file(CONFIGURE OUTPUT "${exports}" CONTENT "LIBRARY ${name}.dll\nEXPORTS\n  ${lines}\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${ARG_EXPORTS}")
  # The functions this library may call; the linker knows no others.
  set(imports "${out}/${name}.coredll.def")
  add_custom_command(OUTPUT "${imports}"
    COMMAND ${PYTHON} "${here}/mkdef.py" "${here}/coredll-functions.txt" ${ARG_COLUMN} > "${imports}"
    DEPENDS "${here}/mkdef.py" "${here}/coredll-functions.txt" VERBATIM)

  if(CE_MACHINE STREQUAL arm)
    ce_link_arm()
  else()
    ce_link_x86()
  endif()
  add_custom_target(${name} ALL DEPENDS "${out}/${name}.dll" "${out}/${name}.other.dll")
endfunction()

# The names that a version script exports, DllMain apart.
function(ce_exports file result)
  file(STRINGS "${file}" lines REGEX "^ *[A-Za-z_0-9]+;$")
  list(TRANSFORM lines REPLACE "[ ;]" "")
  list(REMOVE_ITEM lines DllMain)
  list(SORT lines)
  set(${result} ${lines} PARENT_SCOPE)
endfunction()

macro(ce_link_arm)
  set(stubs "${out}/${name}.imports")
  add_custom_command(OUTPUT "${stubs}.o"
    COMMAND ${PYTHON} "${here}/mkimp.py" "${imports}" > "${stubs}.s"
    COMMAND ${CMAKE_CXX_COMPILER} ${CE_MACHINE_FLAGS} -c -o "${stubs}.o" "${stubs}.s"
    DEPENDS "${imports}" "${here}/mkimp.py" VERBATIM)
  add_custom_command(OUTPUT "${out}/${name}.res"
    COMMAND ${CE_WINDRES} -O res "${out}/${name}.rc" "${out}/${name}.res"
    DEPENDS "${out}/${name}.rc" VERBATIM)
  list(TRANSFORM exported PREPEND "-Wl,-u,")
  foreach(variant "${name}@${CE_BASE}" "${name}.other@${CE_OTHER_BASE}")
    string(REPLACE "@" ";" variant "${variant}")
    list(GET variant 0 file)
    list(GET variant 1 base)
    # The converter takes the library's own name from the file's; both variants must carry the same.
    add_custom_command(OUTPUT "${out}/${file}.dll" "${out}/${file}.elf"
      COMMAND ${CMAKE_CXX_COMPILER} ${CE_MACHINE_FLAGS} -nostdlib -static -no-pie
        -Wl,-T,${here}/ce-arm.ld,--defsym=BASE=${base},--emit-relocs,--gc-sections,--strip-debug,--fix-v4bx
        -Wl,--no-warn-rwx-segments,--no-enum-size-warning,--no-wchar-size-warning,-Map=${out}/${file}.map
        ${exported} -o "${out}/${file}.elf" $<TARGET_OBJECTS:${name}_objects> "${stubs}.o" -lgcc
      COMMAND ${PYTHON} "${here}/elf2ce.py" "${out}/${file}.elf" "${out}/${file}.dll" --name ${name}.dll
        --def "${exports}" --res "${out}/${name}.res"
      DEPENDS ${name}_objects $<TARGET_OBJECTS:${name}_objects> "${stubs}.o" "${out}/${name}.res"
        "${exports}" "${here}/elf2ce.py" "${here}/ce-arm.ld"
      COMMAND_EXPAND_LISTS VERBATIM)
  endforeach()
endmacro()

macro(ce_link_x86)
  find_program(CE_DLLTOOL i686-w64-mingw32-dlltool REQUIRED)
  set(stubs "${out}/lib${name}.coredll.a")
  add_custom_command(OUTPUT "${stubs}"
    COMMAND ${CE_DLLTOOL} -m i386 -d "${imports}" -l "${stubs}"
    DEPENDS "${imports}" VERBATIM)
  add_custom_command(OUTPUT "${out}/${name}.res.o"
    COMMAND ${CE_WINDRES} "${out}/${name}.rc" "${out}/${name}.res.o"
    DEPENDS "${out}/${name}.rc" VERBATIM)
  foreach(variant "${name}@${CE_BASE}" "${name}.other@${CE_OTHER_BASE}")
    string(REPLACE "@" ";" variant "${variant}")
    list(GET variant 0 file)
    list(GET variant 1 base)
    add_custom_command(OUTPUT "${out}/${file}.dll"
      COMMAND ${CMAKE_CXX_COMPILER} -shared -nostdlib -s -o "${out}/${file}.dll"
        $<TARGET_OBJECTS:${name}_objects> "${out}/${name}.res.o" "${exports}" "${stubs}" -lgcc
        -Wl,--gc-sections,-e,_DllEntry,--subsystem,wince,--image-base,${base}
        -Wl,--major-subsystem-version,3,--minor-subsystem-version,0
        -Wl,--disable-auto-import,--disable-runtime-pseudo-reloc,--disable-dynamicbase,--disable-nxcompat
        -Wl,--no-insert-timestamp,-Map=${out}/${file}.map
      DEPENDS ${name}_objects $<TARGET_OBJECTS:${name}_objects> "${out}/${name}.res.o" "${exports}" "${stubs}"
      COMMAND_EXPAND_LISTS VERBATIM)
  endforeach()
endmacro()
