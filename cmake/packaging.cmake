# Debian packages from the install components: the runtime package libplatform<major> (the shared
# object with its SONAME, its dependencies computed by dpkg-shlibdeps, a shlibs file for the
# packages built against it) and the development package libplatform-dev (headers, the .so link,
# the CMake package and the pkg-config file), which depends on exactly that runtime version.
#   cmake --workflow --preset package
set(PLATFORM_DEBIAN_RELEASE 1)
set(PLATFORM_RUNTIME_PACKAGE libplatform${PROJECT_VERSION_MAJOR})
set(PLATFORM_DEBIAN_VERSION ${PROJECT_VERSION}-${PLATFORM_DEBIAN_RELEASE})

# The documentation every Debian package carries: its copyright file and a compressed changelog.
set(packaging_dir ${CMAKE_CURRENT_BINARY_DIR}/packaging)
configure_file(${CMAKE_CURRENT_SOURCE_DIR}/packaging/changelog.in ${packaging_dir}/changelog @ONLY)
execute_process(COMMAND gzip -9nf ${packaging_dir}/changelog)
foreach(component_package runtime:${PLATFORM_RUNTIME_PACKAGE} development:libplatform-dev)
  string(REPLACE ":" ";" pair ${component_package})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/packaging/copyright
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
  install(FILES ${packaging_dir}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
          RENAME changelog.Debian.gz COMPONENT ${component})
  # The packages are not uploaded to a distribution, so their changelog closes no bug reports.
  file(WRITE ${packaging_dir}/${package}.overrides
       "${package}: initial-upload-closes-no-bugs\n")
  install(FILES ${packaging_dir}/${package}.overrides
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
          RENAME ${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libplatform)
set(CPACK_PACKAGE_VENDOR "The libplatform developers")
# Each package's description below starts with its own synopsis line; no common one is put in
# front of them.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "The libplatform developers <libplatform@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PLATFORM_DEBIAN_RELEASE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.org/libplatform")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${PLATFORM_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# A shlibs file (">=" this version, so packages built now keep working with later ones of the
# same SONAME) and the ldconfig trigger that a shared-library package owes the system.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "portable base library of the server family\n\
libplatform gives the server programs of the family and their plug-in\n\
libraries one portable base on Linux: the Windows programming model they\n\
were written against (modules with string and version resources, CString,\n\
CFile, the registry and profile files, SYSTEMTIME and FILETIME, BSTR and\n\
SAFEARRAY, a per-thread last error) under Windows names, and services of\n\
its own.\n\
.\n\
This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libplatform-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_ARCHITECTURE amd64)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${PLATFORM_RUNTIME_PACKAGE} (= ${PLATFORM_DEBIAN_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "portable base library of the server family - development files\n\
libplatform gives the server programs of the family and their plug-in\n\
libraries one portable base on Linux: the Windows programming model they\n\
were written against under Windows names, and services of its own.\n\
.\n\
This package holds the headers, the link-time library name, the CMake\n\
package (find_package(platform)) and the pkg-config file.")

include(CPack)
