# Debian packages: liborvex1 (the shared library), liborvex-dev (header,
# pkg-config file, CMake package), orvex-tools (the orvex tool, the simulated
# reader, the udev rule and the man pages). `cpack -G DEB` in a build tree.
install(FILES ${PROJECT_SOURCE_DIR}/packaging/60-orvex.rules
  DESTINATION lib/udev/rules.d COMPONENT tools)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvex)
set(CPACK_PACKAGE_VENDOR "Orvex")
set(CPACK_PACKAGE_CONTACT "Orvex SDK developers <sdk@orvex.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Host library and tools for Orvex desktop card readers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools link liborvex.so.1, which comes in its own package (liborvex1,
# named in the tools' dependencies below): dpkg-shlibdeps finds it in the
# build tree.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liborvex1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Orvex card reader library\n liborvex.so.1 drives Orvex desktop card readers over a serial line or USB HID.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborvex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "liborvex1 (= ${PROJECT_VERSION}), libusb-1.0-0-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Orvex card reader library: development files\n The header orvex.h, the pkg-config file and the CMake package.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvex-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "liborvex1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Orvex card reader tools\n The orvex command-line tool, the simulated reader orvex-sim and the udev rule for USB readers.")

include(CPack)
