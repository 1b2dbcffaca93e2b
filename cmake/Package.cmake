# `make package`: a Debian package that holds the bundle, and the rule by which its process sampler may be started as an
# administrator.
install(DIRECTORY "${CMAKE_BINARY_DIR}/Brennic_Lumadoc_Diagnostics.app"
  DESTINATION "${LUMAMON_INSTALL_FOLDER}" USE_SOURCE_PERMISSIONS)
set(policy com.brennic.LumadocDiagnostics.policy)
configure_file("${CMAKE_SOURCE_DIR}/resources/${policy}.in" "${CMAKE_BINARY_DIR}/${policy}" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/${policy}" DESTINATION /usr/share/polkit-1/actions)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brennic-lumadoc-diagnostics)
set(CPACK_PACKAGE_VENDOR Brennic)
set(CPACK_PACKAGE_CONTACT "Brennic support <lumadoc-support@brennic.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Gathers troubleshooting data about Lumadoc and sends it to support")
set(CPACK_PACKAGING_INSTALL_PREFIX "/")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "zip, ca-certificates")
# Without pkexec the capture has no process sample and says so; without the others the proxies that the desktop's settings
# name are not found.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
  "pkexec, libproxy1-plugin-gsettings | libproxy1-plugin-kconfig, libproxy1-plugin-webkit")
set(CPACK_SET_DESTDIR ON)
include(CPack)
