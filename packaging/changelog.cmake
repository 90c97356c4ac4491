# CHANGELOG.md tells the day of the version that VERSION names.
file(STRINGS CHANGELOG.md newest REGEX "^## " LIMIT_COUNT 1)
if(NOT newest MATCHES "^## ([0-9.]+) \\(([0-9]+-[0-9]+-[0-9]+)\\)$" OR
    NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR
    "CHANGELOG.md begins with \"${newest}\" where VERSION says ${PROJECT_VERSION}")
endif()
set(BRANNOW_RELEASE_DAY ${CMAKE_MATCH_2})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
