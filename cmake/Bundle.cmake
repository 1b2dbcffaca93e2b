# As a property list has it.
set(STANDALONE_VERSION false)
if(LUMAMON_STANDALONE)
  set(STANDALONE_VERSION true)
endif()

# lumamon_bundle(TARGET NAME NAME IDENTIFIER ID): the executable TARGET becomes
# <build>/NAME.app/Contents/Linux/<output name>, on macOS Contents/MacOS/, with an Info.plist beside it.
function(lumamon_bundle target)
  cmake_parse_arguments(ARG "" "NAME;IDENTIFIER" "" ${ARGN})
  set(BUNDLE_NAME "${ARG_NAME}")
  set(BUNDLE_IDENTIFIER "${ARG_IDENTIFIER}")
  set(contents "${CMAKE_BINARY_DIR}/${ARG_NAME}.app/Contents")
  configure_file("${CMAKE_SOURCE_DIR}/resources/Info.plist.in" "${contents}/Info.plist" @ONLY)
  file(MAKE_DIRECTORY "${contents}/Resources" "${contents}/Helpers")
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${contents}/${LUMAMON_PROGRAM_FOLDER}")
  if(APPLE)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND "${CMAKE_SOURCE_DIR}/scripts/make-icon" "${contents}/Resources/Logo.icns" VERBATIM)
  endif()
endfunction()
