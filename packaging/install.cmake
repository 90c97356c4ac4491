# What cmake --install puts where. The install tree has the build tree's shape, so the framework finds
# its runtime in both alike; nothing in it names the prefix, so it may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(BRANNOW_INSTALL_BUNDLE ${CMAKE_INSTALL_LIBDIR}/${BRANNOW_BUNDLE})
set(BRANNOW_INSTALL_RUNTIME ${CMAKE_INSTALL_LIBDIR}/${VUO_BUNDLE})
set(BRANNOW_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/brannow)
set(BRANNOW_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/Brannow)

install(TARGETS Brannow LIBRARY DESTINATION ${BRANNOW_INSTALL_BUNDLE})
install(TARGETS vuo-module LIBRARY DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Helpers)
install(TARGETS vuo-player vuo-compiler RUNTIME DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Helpers)
install(FILES ${PROJECT_BINARY_DIR}/${VUO_BUNDLE}/Resources/Info.plist
  DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Resources)

file(RELATIVE_PATH bundle_from_bin
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/${BRANNOW_BUNDLE})
set_target_properties(brannow PROPERTIES INSTALL_RPATH "$ORIGIN/${bundle_from_bin}")
install(TARGETS brannow RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The public headers, and those of the platform rooms that they include.
install(DIRECTORY include/Brannow DESTINATION ${BRANNOW_INSTALL_HEADERS})
foreach(room system hostbase hostbuffers runtime)
  file(GLOB headers CONFIGURE_DEPENDS platform/${room}/*.h)
  install(FILES ${headers} DESTINATION ${BRANNOW_INSTALL_HEADERS}/platform/${room})
endforeach()

configure_package_config_file(packaging/BrannowConfig.cmake.in BrannowConfig.cmake
  INSTALL_DESTINATION ${BRANNOW_INSTALL_CMAKE}
  PATH_VARS BRANNOW_INSTALL_BUNDLE BRANNOW_INSTALL_HEADERS)
write_basic_package_version_file(BrannowConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BrannowConfig.cmake
  ${PROJECT_BINARY_DIR}/BrannowConfigVersion.cmake DESTINATION ${BRANNOW_INSTALL_CMAKE})

file(RELATIVE_PATH BRANNOW_PREFIX_FROM_PC
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(packaging/brannow.pc.in brannow.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brannow.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# cpack: one Debian package with everything, which brings a driver along where no GPU's is installed.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brannow)
set(CPACK_PACKAGE_VENDOR "The Brannow developers")
set(CPACK_PACKAGE_CONTACT "maintainers@brannow.example")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "Node-graph compositions as image generators and filters of a video application")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${BRANNOW_BUNDLE})
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libegl1, libopengl0, libegl-mesa0, libgl1-mesa-dri, libgl1")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core")
set(CPACK_STRIP_FILES ON)
include(CPack)
