# Writes RESULT from TEMPLATE, with VERSION and BUILD, which tells the PROGRAMS from every other build's.
set(BUILD "")
foreach(program ${PROGRAMS})
  file(SHA256 ${program} hash)
  string(APPEND BUILD ${hash})
endforeach()
string(SHA256 BUILD "${BUILD}")
string(SUBSTRING ${BUILD} 0 16 BUILD)
configure_file(${TEMPLATE} ${RESULT} @ONLY)
