# What `make package` installs and how CPack packs it (README, "Deploying"). Two Debian packages
# under /opt/microsoftazure, each with a -dbgsym package of its debug information:
#   microsoftazure        lib/libMicrosoftAzure.so and lib/libTikoHelper.so side by side (the module
#                         finds the framework through RUNPATH $ORIGIN), share/doc/
#   microsoftazure-tools  bin/sensor-host, bin/azure-emulator, share/scenarios/
# The sensor host looks for the module at ../lib from its own folder, as in the build tree.

# cpack installs what is built, without building the whole tree first: `make package` builds the
# four targets the packages hold.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(MICROSOFTAZURE_PACKAGE_PREFIX /opt/microsoftazure CACHE PATH "Where the packages install")
set(MICROSOFTAZURE_PACKAGE_CONTACT "MicrosoftAzure module team <microsoftazure@localhost>"
    CACHE STRING "Maintainer field of the packages")

install(TARGETS MicrosoftAzure TikoHelper LIBRARY DESTINATION lib COMPONENT module)
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION share/doc COMPONENT module)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION share/doc/docs COMPONENT module
        FILES_MATCHING PATTERN "*.md")

if(TARGET sensor-host AND TARGET azure-emulator)
  install(TARGETS sensor-host azure-emulator RUNTIME DESTINATION bin COMPONENT tools)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/emulator/scenarios/ DESTINATION share/scenarios
          COMPONENT tools FILES_MATCHING PATTERN "*.json")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME microsoftazure)
set(CPACK_PACKAGE_VENDOR "MicrosoftAzure module team")
set(CPACK_PACKAGE_CONTACT "${MICROSOFTAZURE_PACKAGE_CONTACT}")
# The module's own version, the one its logs and User-Agent give.
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${MICROSOFTAZURE_PACKAGE_PREFIX})
set(CPACK_COMPONENTS_ALL module tools)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
# Stripped binaries; their debug information goes to -dbgsym packages under
# /usr/lib/debug/.build-id/, where gdb looks for it by build id.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)

set(CPACK_DEBIAN_MODULE_PACKAGE_NAME microsoftazure)
# libcurl and OpenSSL are opened at run time (rest/impl/curl/), so dpkg-shlibdeps cannot see them;
# 7.85.0 is the oldest libcurl the engine accepts.
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "libcurl4 (>= 7.85.0), libssl3")
set(CPACK_COMPONENT_MODULE_DESCRIPTION
    "Azure sensor module for a network-monitoring probe
libMicrosoftAzure.so watches one Microsoft Azure subscription (virtual machines, SQL databases,
subscription costs) through the Azure Resource Manager REST API; libTikoHelper.so is the host
framework it links. Both live in /opt/microsoftazure/lib.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME microsoftazure-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "microsoftazure (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "Sensor host and local Azure emulator for the MicrosoftAzure module
sensor-host drives the module through its exports as a probe does (discovery, checks);
azure-emulator serves the module's Azure requests over HTTPS on 127.0.0.1 from a scenario.")

include(CPack)
