# pdm_core_generate(TARGET <target> SCHEMA <file.toml> [IMPORT <file.toml> ...])
#
# Adds the persistent classes of a schema file to a target. Their sources are written below the build
# directory whenever the schema changes; the target's sources include them as the schema's folder says,
# #include <folder/Class.h>. Classes of the library, and those of the schemas named by IMPORT, may be bases
# and children. The target has to link PDM_Core::PDM_Core itself.
#
# Needs a Python, 3.11 or later, that has Jinja2. One is looked for unless PDM_CORE_PYTHON names it.

# Finds the Python once; the first on PATH need not be the one that has Jinja2.
function(pdm_core_find_python)
  if(PDM_CORE_PYTHON)
    return()
  endif()
  find_program(system NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH NO_CACHE)
  find_program(newest NAMES python3.13 python3.12 python3.11 NO_CACHE)
  find_program(first NAMES python3 NO_CACHE)
  foreach(candidate ${Python3_EXECUTABLE} ${system} ${first} ${newest})
    if(NOT EXISTS ${candidate})
      continue()
    endif()
    execute_process(COMMAND ${candidate} -c "import jinja2, tomllib" RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
    if(failed EQUAL 0)
      set(PDM_CORE_PYTHON ${candidate} CACHE FILEPATH "Python 3.11 or later with Jinja2, for the schema generator")
      return()
    endif()
  endforeach()
  message(FATAL_ERROR "The schema generator needs Python 3.11 or later with Jinja2 (Debian: python3-jinja2); "
    "set PDM_CORE_PYTHON if it is in an unusual place.")
endfunction()

function(pdm_core_generate)
  cmake_parse_arguments(ARG "" "TARGET;SCHEMA" "IMPORT" ${ARGN})
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_SCHEMA OR NOT TARGET "${ARG_TARGET}")
    message(FATAL_ERROR "pdm_core_generate(TARGET <target> SCHEMA <file.toml> [IMPORT <file.toml> ...])")
  endif()
  pdm_core_find_python()
  get_property(library GLOBAL PROPERTY PDM_CORE_SCHEMA_DIR)
  set(imports ${library}/msf.toml ${library}/fes.toml)
  foreach(import ${ARG_IMPORT})
    get_filename_component(import ${import} ABSOLUTE)
    list(APPEND imports ${import})
  endforeach()

  get_filename_component(schema ${ARG_SCHEMA} ABSOLUTE)
  get_filename_component(name ${schema} NAME_WE)
  set(out ${CMAKE_CURRENT_BINARY_DIR}/${ARG_TARGET}.schema/${name})
  set(generate ${PDM_CORE_PYTHON} -B ${library}/generate.py --out ${out})
  foreach(import ${imports})
    list(APPEND generate --import ${import})
  endforeach()

  # Which files there are is known from the schema alone, so a changed schema configures anew.
  execute_process(COMMAND ${generate} --list ${schema} RESULT_VARIABLE failed
    OUTPUT_VARIABLE files ERROR_VARIABLE message OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(failed)
    message(FATAL_ERROR "${message}")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${schema} ${imports})

  file(GLOB templates ${library}/templates/*.j2)
  add_custom_command(OUTPUT ${out}/up-to-date BYPRODUCTS ${files}
    COMMAND ${generate} --fix ${schema}
    COMMAND ${CMAKE_COMMAND} -E touch ${out}/up-to-date
    DEPENDS ${schema} ${imports} ${templates} ${library}/generate.py
    COMMENT "Generating the classes of ${name}.toml"
    VERBATIM)
  add_custom_target(${ARG_TARGET}_${name}_schema DEPENDS ${out}/up-to-date)
  add_dependencies(${ARG_TARGET} ${ARG_TARGET}_${name}_schema)
  target_sources(${ARG_TARGET} PRIVATE ${files})
  target_include_directories(${ARG_TARGET} PUBLIC $<BUILD_INTERFACE:${out}>)
endfunction()
