# The standard library's headers, read once for everything instead of once for each file. Programs
# and libraries are compiled as different kinds of code, so there are two of it. <filesystem> is not
# among them: its std::quoted would be taken for ours.
set(headers <algorithm> <chrono> <condition_variable> <fstream> <functional> <iostream> <map>
  <memory> <mutex> <optional> <set> <sstream> <string> <thread> <variant> <vector>)
file(WRITE ${PROJECT_BINARY_DIR}/precompiled.cpp "")
foreach(kind library program)
  add_library(precompiled_${kind} OBJECT ${PROJECT_BINARY_DIR}/precompiled.cpp)
  target_precompile_headers(precompiled_${kind} PRIVATE ${headers})
  target_compile_options(precompiled_${kind} PRIVATE -pthread)
  # What everything is linked with is compiled with it too.
  set_target_properties(precompiled_${kind} PROPERTIES LINK_LIBRARIES "")
endforeach()
set_target_properties(precompiled_program PROPERTIES POSITION_INDEPENDENT_CODE OFF)
target_compile_options(precompiled_program PRIVATE -fPIE)

# use_precompiled FOLDER: for all targets there and below.
function(use_precompiled folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL EXECUTABLE)
      target_precompile_headers(${target} REUSE_FROM precompiled_program)
    elseif(type MATCHES "^(OBJECT|SHARED|MODULE)_LIBRARY$" AND NOT target MATCHES ^precompiled)
      target_precompile_headers(${target} REUSE_FROM precompiled_library)
    else()
      continue()
    endif()
    target_compile_options(${target} PRIVATE -pthread)  # some do it because of GLib, so all have to
  endforeach()
  get_property(folders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(sub ${folders})
    use_precompiled(${sub})
  endforeach()
endfunction()
use_precompiled(${PROJECT_SOURCE_DIR})
