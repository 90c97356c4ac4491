# The package for Python. It finds the library wherever the whole was moved to; in /usr it is found anyway.
set(BRANNOW_INSTALL_PYTHON lib/python3/dist-packages/brannow)
if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
  file(RELATIVE_PATH library_from_python /${BRANNOW_INSTALL_PYTHON} /${BRANNOW_INSTALL_BUNDLE})
  set_target_properties(brannow_python PROPERTIES INSTALL_RPATH $ORIGIN/${library_from_python})
endif()
install(DIRECTORY plugins/python/brannow/ DESTINATION ${BRANNOW_INSTALL_PYTHON} COMPONENT python
  FILES_MATCHING PATTERN *.py PATTERN *.pyi PATTERN py.typed PATTERN __pycache__ EXCLUDE)
install(TARGETS brannow_python LIBRARY DESTINATION ${BRANNOW_INSTALL_PYTHON} COMPONENT python)
