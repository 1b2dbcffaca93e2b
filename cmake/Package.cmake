# What `make package` packs: one package for silent mode, the helpers and the commands, which needs no graphical
# interface, and one for the window. Modes and owners are these, whatever the builder's are.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(bundle Brennic_Lumadoc_Diagnostics.app/Contents)
set(core lumadoc-diagnostics-core)
set(window lumadoc-diagnostics)
set(core-debug lumadoc-diagnostics-core-dbg)
set(window-debug lumadoc-diagnostics-dbg)
set(application com.brennic.LumadocDiagnostics)
set(prepared "${CMAKE_BINARY_DIR}/package-files")
file(MAKE_DIRECTORY "${prepared}")

# Follow SOURCE_DATE_EPOCH.
string(TIMESTAMP PACKAGE_DAY "%Y-%m-%d" UTC)
string(TIMESTAMP PACKAGE_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)

# package_file(COMPONENT FOLDER FILE [GZIP]): a file of resources/package, with its variables filled in.
function(package_file component folder file)
  configure_file("${CMAKE_SOURCE_DIR}/resources/package/${file}.in" "${prepared}/${file}" @ONLY)
  package_made(${component} "${folder}" "${prepared}/${file}" ${ARGN})
endfunction()

# The same for a file that is there already. GZIP is the name that it gets, compressed.
function(package_made component folder file)
  cmake_parse_arguments(ARG "" "GZIP" "" ${ARGN})
  if(ARG_GZIP)
    execute_process(COMMAND gzip -9nc "${file}" OUTPUT_FILE "${prepared}/${ARG_GZIP}" COMMAND_ERROR_IS_FATAL ANY)
    set(file "${prepared}/${ARG_GZIP}")
  endif()
  install(FILES "${file}" DESTINATION "${folder}" COMPONENT ${component})
endfunction()

# package_program(COMPONENT FOLDER TARGET...): programs of the bundle, without their debug symbols, which debuggers
# find by the build's identifier in a package of their own.
function(package_program component folder)
  foreach(target IN LISTS ARGN)
    install(TARGETS ${target} RUNTIME DESTINATION "lib/lumadoc-diagnostics/${bundle}/${folder}" COMPONENT ${component}
      LIBRARY DESTINATION "lib/lumadoc-diagnostics/${bundle}/${folder}" COMPONENT ${component}
      PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    install(CODE "set(program \"$<TARGET_FILE:${target}>\")
      set(prepared \"${prepared}\")
      set(tools ${CMAKE_READELF} ${CMAKE_OBJCOPY})" CODE [[
      list(POP_FRONT tools readelf objcopy)
      execute_process(COMMAND ${readelf} -n ${program} OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
      if(NOT notes MATCHES "Build ID: (..)([0-9a-f]+)")
        message(FATAL_ERROR "${program} has no build identifier")
      endif()
      set(symbols "${prepared}/${CMAKE_MATCH_2}.debug")
      set(place "${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/${CMAKE_MATCH_1}")
      execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections ${program} ${symbols}
        COMMAND_ERROR_IS_FATAL ANY)
      file(INSTALL ${symbols} DESTINATION "${place}")]] COMPONENT ${component}-debug)
  endforeach()
endfunction()

package_program(core Linux Brennic_Lumadoc_Diagnostics)
package_program(core Helpers archives proxies spindump system_profiler)
package_program(core PlugIns Upload)
package_program(window PlugIns Window)
install(FILES "${CMAKE_BINARY_DIR}/${bundle}/Info.plist"
  DESTINATION "lib/lumadoc-diagnostics/${bundle}" COMPONENT core)

# The commands, which find their bundle through the link.
foreach(command "lumadoc-diagnostics Linux/Brennic_Lumadoc_Diagnostics" "lumadoc-diagnostics-archives Helpers/archives")
  separate_arguments(command)
  list(POP_FRONT command name program)
  file(CREATE_LINK "../lib/lumadoc-diagnostics/${bundle}/${program}" "${prepared}/${name}" SYMBOLIC)
  install(FILES "${prepared}/${name}" DESTINATION bin COMPONENT core)
  package_file(core share/man/man1 ${name}.1 GZIP ${name}.1.gz)
endforeach()
set(completion "${CMAKE_SOURCE_DIR}/resources/package/completion")
install(FILES ${completion}.zsh DESTINATION share/zsh/vendor-completions RENAME _lumadoc-diagnostics COMPONENT core)
# These shells look for a file of the command's name.
foreach(name lumadoc-diagnostics lumadoc-diagnostics-archives)
  install(FILES ${completion}.bash DESTINATION share/bash-completion/completions RENAME ${name} COMPONENT core)
  install(FILES ${completion}.fish DESTINATION share/fish/vendor_completions.d RENAME ${name}.fish COMPONENT core)
endforeach()

package_file(window share/applications ${application}.desktop)
package_file(window share/metainfo ${application}.metainfo.xml)
# Without the window nothing asks for an administrator's rights.
package_made(window share/polkit-1/actions "${CMAKE_BINARY_DIR}/${application}.policy")
set(logo "${CMAKE_SOURCE_DIR}/src/ui/assets/light/lumadocdiagnosticlogo.svg")
install(FILES "${logo}" DESTINATION share/icons/hicolor/scalable/apps RENAME ${application}.svg COMPONENT window)
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
foreach(size 16 24 32 48 64 128 256)
  set(icon "${prepared}/${size}/${application}.png")
  file(MAKE_DIRECTORY "${prepared}/${size}")
  execute_process(COMMAND "${RSVG_CONVERT}" -w ${size} -h ${size} -o "${icon}" "${logo}" COMMAND_ERROR_IS_FATAL ANY)
  package_made(window "share/icons/hicolor/${size}x${size}/apps" "${icon}")
endforeach()

foreach(component core window core-debug window-debug)
  set(PACKAGE ${${component}})
  set(folder share/doc/${PACKAGE})
  install(FILES "${CMAKE_SOURCE_DIR}/resources/package/${PACKAGE}.lintian-overrides"
    DESTINATION share/lintian/overrides RENAME ${PACKAGE} COMPONENT ${component})
  package_file(${component} ${folder} copyright)
  package_made(${component} ${folder} "${CMAKE_SOURCE_DIR}/CHANGELOG.md" GZIP changelog.gz)
  configure_file("${CMAKE_SOURCE_DIR}/resources/package/changelog.Debian.in" "${prepared}/changelog.Debian" @ONLY)
  package_made(${component} ${folder} "${prepared}/changelog.Debian" GZIP changelog.Debian.gz)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL core window core-debug window-debug)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VENDOR Brennic)
set(CPACK_PACKAGE_CONTACT "Brennic support <${LUMAMON_SUPPORT_EMAIL}>")
set(CPACK_PACKAGE_HOMEPAGE_URL "${LUMAMON_HOMEPAGE}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_CORE_PACKAGE_NAME ${core})
set(CPACK_COMPONENT_CORE_DESCRIPTION "Gathers troubleshooting data about Lumadoc and sends it to support
Collects the logs, crash reports and settings of an installed Lumadoc or
Pellix, packs them into one archive and uploads it to Brennic support.

This package holds the silent mode, which the product starts, its helper
programs, and a command for archives that could not be sent. It needs no
graphical interface.")
set(CPACK_DEBIAN_CORE_PACKAGE_DEPENDS "zip, ca-certificates, libsystemd0")
# Without these the proxies that the desktop's settings name are not found; they bring half a desktop with them.
set(CPACK_DEBIAN_CORE_PACKAGE_SUGGESTS
  "${window}, libproxy1-plugin-gsettings | libproxy1-plugin-kconfig, libproxy1-plugin-webkit")
# The name of the packages before there were two.
set(CPACK_DEBIAN_CORE_PACKAGE_CONFLICTS brennic-lumadoc-diagnostics)
set(CPACK_DEBIAN_CORE_PACKAGE_REPLACES brennic-lumadoc-diagnostics)

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME ${window})
set(CPACK_COMPONENT_WINDOW_DESCRIPTION "Window of the Lumadoc diagnostics
In this window a user starts the diagnostics of Lumadoc or Pellix,
reproduces a problem, describes it, and shares the logs with Brennic
support.")
set(CPACK_DEBIAN_WINDOW_PACKAGE_DEPENDS "${core} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), \
libqt6svg6, qml6-module-qtqml, qml6-module-qtqml-models, \
qml6-module-qtqml-workerscript, qml6-module-qtquick, qml6-module-qtquick-layouts, \
qml6-module-qtquick-templates, qml6-module-qtquick-window")
# Without pkexec and an agent that asks, the capture has no process sample and says so.
set(CPACK_DEBIAN_WINDOW_PACKAGE_RECOMMENDS
  "qt6-wayland, xdg-utils, pkexec, policykit-1-gnome | polkit-1-auth-agent, \
libproxy1-plugin-gsettings | libproxy1-plugin-kconfig, libproxy1-plugin-webkit")

foreach(component core window)
  string(TOUPPER ${component} of)
  set(CPACK_DEBIAN_${of}-DEBUG_PACKAGE_NAME ${${component}-debug})
  set(CPACK_DEBIAN_${of}-DEBUG_PACKAGE_SECTION debug)
  set(CPACK_DEBIAN_${of}-DEBUG_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_${of}-DEBUG_PACKAGE_DEPENDS
    "${${component}} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
  set(CPACK_COMPONENT_${of}-DEBUG_DESCRIPTION "Debug symbols of ${${component}}
What a debugger needs to show the names and lines of the programs in
${${component}}.")
endforeach()
include(CPack)
