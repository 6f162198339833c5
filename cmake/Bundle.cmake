# The application bundle: program, resources and Info.plist, in ${TARVEX_BUNDLE_PARENT}.
set(TARVEX_BUNDLE "${TARVEX_BUNDLE_PARENT}/Tarvex Launcher.app")

set(bundle_version "${TARVEX_BUNDLE_VERSION}")
string(REPEAT "[0-9a-f]" 16 version_form)
if(NOT bundle_version MATCHES "^(${version_form})?$")
  message(FATAL_ERROR "TARVEX_BUNDLE_VERSION must be 16 of 0-9 and a-f: ${bundle_version}")
endif()
if(NOT bundle_version)
  find_package(Git QUIET)
  if(Git_FOUND)
    execute_process(
      COMMAND ${GIT_EXECUTABLE} rev-parse --verify HEAD
      WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
      OUTPUT_VARIABLE commit ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    string(SUBSTRING "${commit}" 0 16 bundle_version)
  endif()
endif()
if(NOT bundle_version)
  set(bundle_version 0)
endif()
set(readable_version 0)  # only a package has a version for people
configure_file(${CMAKE_SOURCE_DIR}/packaging/Info.plist.in
               "${TARVEX_BUNDLE}/Contents/Info.plist" @ONLY)

# A package's bundle has libraries in Frameworks; a build's bundle has none and uses the system's. The
# run path is DT_RPATH, not DT_RUNPATH: it is also used for the dependencies of libraries and plugins,
# and it has priority over LD_LIBRARY_PATH.
foreach(program tarvex-launcher tarvex-check-updater)
  set_target_properties(${program} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${TARVEX_BUNDLE}/Contents/Linux"
    BUILD_RPATH "$ORIGIN/../Frameworks")
  target_link_options(${program} PRIVATE LINKER:--disable-new-dtags)
endforeach()

# The resources are the updater and the demo's configuration, so that a build works without further
# steps. The updater reads the demo's releases from a folder; scripts/run uses a web server instead.
set(bundle_resources "${TARVEX_BUNDLE}/Contents/Resources")
file(GLOB updater CONFIGURE_DEPENDS "${CMAKE_SOURCE_DIR}/client-updater/*.py")
list(FILTER updater EXCLUDE REGEX "/publish\\.py$")
configure_file(${CMAKE_SOURCE_DIR}/demo/launcher-config.json
               "${CMAKE_BINARY_DIR}/demo/launcher-config.json" @ONLY)
set(resources ${updater} "${CMAKE_BINARY_DIR}/demo/launcher-config.json"
    "${CMAKE_SOURCE_DIR}/packaging/icons/com.tarvex.launcher.svg")
add_custom_command(
  OUTPUT "${CMAKE_BINARY_DIR}/bundle-resources.stamp"
  COMMAND ${CMAKE_COMMAND} -E rm -rf "${bundle_resources}"
  COMMAND ${CMAKE_COMMAND} -E make_directory "${bundle_resources}"
  COMMAND ${CMAKE_COMMAND} -E copy ${resources} "${bundle_resources}"
  COMMAND ${CMAKE_COMMAND} -E touch "${CMAKE_BINARY_DIR}/bundle-resources.stamp"
  DEPENDS ${resources}
  VERBATIM)
add_custom_target(bundle ALL DEPENDS "${CMAKE_BINARY_DIR}/bundle-resources.stamp" tarvex-launcher
                  tarvex-check-updater demo-releases)
