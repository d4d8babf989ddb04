# cmake -DOUT=FILE.cpp "-DFILES=NAME=PATH;..." -P embed.cmake: makes a source with the bytes of files as strings,
# rep_kNAME.
set(text "#include <pdmsim/report/rep_Page.h>\n")
foreach(one IN LISTS FILES)
  string(REGEX MATCH "^([^=]+)=(.*)$" ignored "${one}")
  set(name ${CMAKE_MATCH_1})
  file(READ "${CMAKE_MATCH_2}" bytes HEX)
  string(LENGTH "${bytes}" length)
  math(EXPR length "${length} / 2")
  string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
  string(APPEND text "const std::string_view rep_k${name}(\"${bytes}\", ${length});\n")
endforeach()
file(WRITE "${OUT}" "${text}")
