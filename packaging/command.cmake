# The command, its pages and samples, and what a desktop learns of it.
if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
  file(RELATIVE_PATH libraries_from_bin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set_target_properties(brannow PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_bin}")
endif()
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME command)
install(TARGETS brannow RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY compositions DESTINATION ${CMAKE_INSTALL_DATADIR}/brannow)

configure_file(packaging/brannow.1.in brannow.1 @ONLY)
compressed(${PROJECT_BINARY_DIR}/brannow.1 ${PROJECT_BINARY_DIR}/brannow.1.gz)
install(FILES ${PROJECT_BINARY_DIR}/brannow.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/completion.bash RENAME brannow
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

if(BRANNOW_BUILD_VIEW)
  install(FILES packaging/desktop/brannow.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
endif()
install(FILES packaging/desktop/brannow.svg
  DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES packaging/desktop/brannow-mime.xml RENAME brannow.xml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
install(FILES packaging/desktop/brannow.thumbnailer
  DESTINATION ${CMAKE_INSTALL_DATADIR}/thumbnailers)
