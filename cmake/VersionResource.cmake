# wkt_version_resource(target fileName): gives a library for Linux the version information that
# GetFileVersionInfoW reads, from the project's version, as an ELF section. Device builds use version.rc.
include_guard(GLOBAL)
set(WKT_VERSION_TEMPLATE "${CMAKE_CURRENT_LIST_DIR}/version.cpp.in")

function(wkt_version_resource target fileName)
  set(WKT_FILE_NAME "${fileName}")
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}.version.cpp")
  configure_file("${WKT_VERSION_TEMPLATE}" "${source}" @ONLY)
  target_sources(${target} PRIVATE "${source}")
endfunction()
