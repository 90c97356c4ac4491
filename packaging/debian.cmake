# cpack -G DEB: the packages, each with its licence and changes as Debian wants them, and with what
# its libraries' licences ask of whoever ships them. Configured with the preset package.
set(BRANNOW_DEB_VERSION ${PROJECT_VERSION}-1)
set(library_package libbrannow${PROJECT_VERSION_MAJOR})
set(development_package libbrannow-dev)
set(command_package brannow)
set(frei0r_package frei0r-brannow)
set(python_package python3-brannow)
set(gstreamer_package gstreamer1.0-brannow)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME brannow)
set(CPACK_PACKAGE_VENDOR "The Brannow authors")
set(CPACK_PACKAGE_CONTACT "The Brannow authors <maintainers@brannow.example>")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development)
if(BRANNOW_BUILD_COMMAND)
  list(APPEND CPACK_COMPONENTS_ALL command)
endif()
if(BRANNOW_BUILD_FREI0R)
  list(APPEND CPACK_COMPONENTS_ALL frei0r)
endif()
if(BRANNOW_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
if(BRANNOW_BUILD_GSTREAMER)
  list(APPEND CPACK_COMPONENTS_ALL gstreamer)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(summary "node-graph compositions as image generators and filters")
set(about "\
Brannow lets a video application use node-graph compositions (.vuo files) as
image generators and image filters among its own layers. A composition runs
inside the application or in a process of its own.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "${summary} (library)\n${about}\n\n\
This package contains the shared library and the programs that it starts.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
# A driver that draws where no GPU's is installed comes along.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libegl1, libopengl0, libegl-mesa0, libgl1-mesa-dri")
# Without these two, pictures go to and from other processes through memory.
# Without a font no text is set.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS
  "libvulkan1, mesa-vulkan-drivers | vulkan-icd, fonts-dejavu-core | fonts-freefont-ttf")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${summary} (development files)\n${about}\n\n\
This package contains the headers and what CMake and pkg-config need to find
the library.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${BRANNOW_DEB_VERSION})")

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME ${command_package})
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "${summary} (command)\n${about}\n\n\
This package contains the command that shows, renders, filters with and
describes compositions, and samples of them.")
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${library_package} (= ${BRANNOW_DEB_VERSION}), libgl1")
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS fonts-dejavu-core)

set(CPACK_DEBIAN_FREI0R_PACKAGE_NAME ${frei0r_package})
set(CPACK_DEBIAN_FREI0R_PACKAGE_SECTION video)
set(CPACK_DEBIAN_FREI0R_DESCRIPTION "${summary} (frei0r)\n${about}\n\n\
This package lets the command make plug-ins from compositions, which ffmpeg,\n\
MLT and GStreamer load.")
set(CPACK_DEBIAN_FREI0R_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FREI0R_PACKAGE_DEPENDS "${library_package} (= ${BRANNOW_DEB_VERSION})")
set(CPACK_DEBIAN_FREI0R_PACKAGE_RECOMMENDS ${command_package})
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME ${python_package})
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "${summary} (Python 3)\n${about}\n\n\
This package contains the module brannow for Python 3, which gives pictures of\n\
compositions as arrays of NumPy.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
# The module is one for this version of Python alone.
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${library_package} (= ${BRANNOW_DEB_VERSION}), \
python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/debian/python3-brannow/postinst
  ${PROJECT_SOURCE_DIR}/packaging/debian/python3-brannow/prerm)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_NAME ${gstreamer_package})
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SECTION video)
set(CPACK_DEBIAN_GSTREAMER_DESCRIPTION "${summary} (GStreamer)\n${about}\n\n\
This package contains elements for GStreamer, one for each composition that is\n\
installed.")
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "${library_package} (= ${BRANNOW_DEB_VERSION})")
# The other elements that draw with OpenGL, and compositions.
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_RECOMMENDS "gstreamer1.0-gl, ${command_package}")

# It is found among what is being packaged.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${BRANNOW_BUNDLE})

# Before 1.0 another minor version may not replace the one that a program was linked with.
math(EXPR BRANNOW_NEXT_MINOR "${PROJECT_VERSION_MINOR} + 1")
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs "\
libBrannow ${PROJECT_VERSION_MAJOR} ${library_package} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\
, ${library_package} (<< ${PROJECT_VERSION_MAJOR}.${BRANNOW_NEXT_MINOR}~)\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")

# Changes: the project's own, and one line for each package of them.
execute_process(COMMAND date -u -R -d ${BRANNOW_RELEASE_DAY}
  OUTPUT_VARIABLE BRANNOW_RELEASE_TIME OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(packaging/debian/changelog.in debian/changelog @ONLY)
compressed(${PROJECT_BINARY_DIR}/debian/changelog ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz)
compressed(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_BINARY_DIR}/debian/changelog.gz)

# write_copyright PACKAGE LIBRARY...: our licence, and those of the libraries whose code is inside.
function(write_copyright package)
  file(READ LICENSE text)
  set(text "Brannow is published under this licence.\n\n${text}")
  foreach(library ${ARGN})
    set(file /usr/share/doc/${library}/copyright)
    if(EXISTS ${file})
      file(READ ${file} licence)
      string(APPEND text
        "\n\nThe programs contain code of ${library}, whose licences are these:\n\n${licence}")
    endif()
  endforeach()
  file(WRITE ${PROJECT_BINARY_DIR}/debian/${package}/copyright "${text}")
endfunction()
write_copyright(${library_package} glslang-dev)
write_copyright(${development_package})
write_copyright(${python_package} pybind11-dev)
write_copyright(${gstreamer_package})
write_copyright(${command_package} libcli11-dev libimgui-dev libstb-dev)
write_copyright(${frei0r_package})

foreach(component ${CPACK_COMPONENTS_ALL})
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
    ${PROJECT_BINARY_DIR}/debian/changelog.gz
    ${PROJECT_BINARY_DIR}/debian/${${component}_package}/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}_package} COMPONENT ${component})
endforeach()
include(CPack)
