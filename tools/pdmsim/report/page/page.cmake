# The page's files and three.js become a source of the program: PDM_REPORT_PAGE.
find_file(PDM_THREE three.min.js PATHS /usr/share/javascript/three NO_DEFAULT_PATH REQUIRED
  DOC "three.js, version 111 (Debian: libjs-three)")
set(PDM_REPORT_PAGE ${CMAKE_CURRENT_BINARY_DIR}/rep_PageFiles.cpp)
set(from ${CMAKE_CURRENT_LIST_DIR})
set(files Page=${from}/page.html Style=${from}/page.css Numbers=${from}/numbers.js Scene=${from}/scene.js
  Turning=${from}/turning.js Controls=${from}/controls.js Three=${PDM_THREE} Licence=${from}/three-licence.txt)
list(TRANSFORM files REPLACE "^[^=]+=" "" OUTPUT_VARIABLE paths)
add_custom_command(OUTPUT ${PDM_REPORT_PAGE}
  COMMAND ${CMAKE_COMMAND} "-DOUT=${PDM_REPORT_PAGE}" "-DFILES=${files}" -P ${from}/embed.cmake
  DEPENDS ${paths} ${from}/embed.cmake VERBATIM)
set_source_files_properties(${PDM_REPORT_PAGE} PROPERTIES COMPILE_OPTIONS -Wno-overlength-strings)
