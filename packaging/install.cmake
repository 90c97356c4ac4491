# What cmake --install puts where, in three components that are the three packages too. The bundle has
# the build tree's shape, so the framework finds its runtime in both alike; the linker finds the
# library by links in the folder where distributions have theirs. Nothing names the prefix, so what is
# installed may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Versions that can't replace each other can be installed beside each other.
set(BRANNOW_INSTALL_PRIVATE ${CMAKE_INSTALL_LIBDIR}/brannow-${PROJECT_VERSION_MAJOR})
set(BRANNOW_INSTALL_BUNDLE ${BRANNOW_INSTALL_PRIVATE}/${BRANNOW_BUNDLE})
set(BRANNOW_INSTALL_RUNTIME ${BRANNOW_INSTALL_PRIVATE}/${VUO_BUNDLE})
set(BRANNOW_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/brannow)
set(BRANNOW_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/Brannow)
set(BRANNOW_SONAME libBrannow.so.${PROJECT_VERSION_MAJOR})
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME library)

install(TARGETS Brannow LIBRARY DESTINATION ${BRANNOW_INSTALL_BUNDLE} NAMELINK_SKIP)
install(TARGETS vuo-module vuo-text LIBRARY DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Helpers)
install(TARGETS vuo-player vuo-compiler vuo-launch
  RUNTIME DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Helpers)
install(FILES ${PROJECT_BINARY_DIR}/${VUO_BUNDLE}/Resources/Info.plist
  DESTINATION ${BRANNOW_INSTALL_RUNTIME}/Resources)

# install_link TARGET NAME COMPONENT: a link in the folder of the libraries.
function(install_link target name component)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/links)
  file(CREATE_LINK ${target} ${PROJECT_BINARY_DIR}/links/${name} SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/links/${name} DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT ${component})
endfunction()
file(RELATIVE_PATH library_from_links
  /${CMAKE_INSTALL_LIBDIR} /${BRANNOW_INSTALL_BUNDLE}/libBrannow.so.${PROJECT_VERSION})
install_link(${library_from_links} ${BRANNOW_SONAME} library)
install_link(${BRANNOW_SONAME} libBrannow.so development)

# The system's own folders are searched anyway, and distributions want no run path there.
set(BRANNOW_RPATH_FOR_HOSTS "")
if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
  set(BRANNOW_RPATH_FOR_HOSTS " -Wl,-rpath,\${libdir}")
endif()

# The public interface.
set(BRANNOW_HEADERS
  Alert.h
  Brannow.h
  BrannowExport.h
  BrannowStringAdditions.h
  CompositionCheck.h
  Engine.h
  GLContext.h
  GLScene.h
  Log.h
  MainQueue.h
  Notifications.h
  VuoBufferAdditions.h
  VuoBufferPoolAdditions.h
  VuoCache.h
  VuoCacheItem.h
  VuoContainment.h
  VuoFrame.h
  VuoGLScene.h
  VuoGLSceneProtocol.h
  VuoSceneStatus.h
  ZQBuffer.h
  ZQBufferPool.h
  ZQVuoAlertPanel.h
  ZQVuoCompStringAdditions.h
  ZQVuoComposition.h
  ZQVuoCompositionPort.h
  ZQVuoCompositionProblem.h
  ZQVuoPortValue.h
)
list(TRANSFORM BRANNOW_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/include/Brannow/)
list(APPEND BRANNOW_HEADERS ${PROJECT_BINARY_DIR}/include/Brannow/BrannowVersion.h)
install(FILES ${BRANNOW_HEADERS} DESTINATION ${BRANNOW_INSTALL_HEADERS}/Brannow
  COMPONENT development)

configure_package_config_file(packaging/BrannowConfig.cmake.in BrannowConfig.cmake
  INSTALL_DESTINATION ${BRANNOW_INSTALL_CMAKE}
  PATH_VARS CMAKE_INSTALL_LIBDIR BRANNOW_INSTALL_BUNDLE BRANNOW_INSTALL_HEADERS)
write_basic_package_version_file(BrannowConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BrannowConfig.cmake
  ${PROJECT_BINARY_DIR}/BrannowConfigVersion.cmake
  DESTINATION ${BRANNOW_INSTALL_CMAKE} COMPONENT development)

file(RELATIVE_PATH BRANNOW_PREFIX_FROM_PC
  /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" BRANNOW_PREFIX_FROM_PC "${BRANNOW_PREFIX_FROM_PC}")
configure_file(packaging/brannow.pc.in brannow.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/brannow.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)


find_program(GZIP gzip REQUIRED)
# compressed FILE RESULT: at its smallest, with neither name nor time in it.
function(compressed file result)
  execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

include(packaging/changelog.cmake)
if(BRANNOW_BUILD_COMMAND)
  include(packaging/command.cmake)
endif()
if(BRANNOW_BUILD_FREI0R)
  install(TARGETS brannow_frei0r LIBRARY DESTINATION ${BRANNOW_INSTALL_PRIVATE} COMPONENT frei0r)
endif()
if(BRANNOW_BUILD_PYTHON)
  include(packaging/python.cmake)
endif()
if(BRANNOW_BUILD_GSTREAMER)
  if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
    set_target_properties(gstbrannow PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  endif()
  install(TARGETS gstbrannow LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0
    COMPONENT gstreamer)
endif()
include(packaging/debian.cmake)
