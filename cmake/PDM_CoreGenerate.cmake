# pdm_core_generate(TARGET <target> SCHEMA <file.toml> [IMPORT <file.toml> ...] [PYTHON])
#
# Adds the persistent classes of a schema file to a target. Their sources are written below the build
# directory whenever the schema changes; the target's sources include them as the schema's folder says,
# #include <folder/Class.h>. Classes of the library, and those of the schemas named by IMPORT, may be bases
# and children. The target has to link PDM_Core::PDM_Core itself.
#
# PYTHON also makes a module of Python, named as the schema's module, with its stub in the folder `python` below the
# build directory: the target <target>_python. Importing it makes the classes known to pdm_core. Of a shared library it
# takes the classes, else it has them itself. Needs pybind11.
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
  cmake_parse_arguments(ARG "PYTHON" "TARGET;SCHEMA" "IMPORT" ${ARGN})
  if(ARG_UNPARSED_ARGUMENTS OR NOT ARG_SCHEMA OR NOT TARGET "${ARG_TARGET}")
    message(FATAL_ERROR "pdm_core_generate(TARGET <target> SCHEMA <file.toml> [IMPORT <file.toml> ...] [PYTHON])")
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

  if(ARG_PYTHON)
    list(APPEND generate --python)
  endif()

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
    DEPENDS ${schema} ${imports} ${templates} ${library}/generate.py ${library}/schema_classes.py
    COMMENT "Generating the classes of ${name}.toml"
    VERBATIM)
  add_custom_target(${ARG_TARGET}_${name}_schema DEPENDS ${out}/up-to-date)
  add_dependencies(${ARG_TARGET} ${ARG_TARGET}_${name}_schema)
  set(module ${files})
  list(FILTER module INCLUDE REGEX "/python/[^/]*$")
  list(FILTER files EXCLUDE REGEX "/python/[^/]*$")
  target_sources(${ARG_TARGET} PRIVATE ${files})
  target_include_directories(${ARG_TARGET} PUBLIC $<BUILD_INTERFACE:${out}>)
  if(ARG_PYTHON)
    pdm_core_python_module(${ARG_TARGET} ${name} ${out} "${module}" "${files}")
  endif()
endfunction()

# The module of Python of a target's classes. `module` are its source and its stub, `files` the classes'.
function(pdm_core_python_module target schema out module files)
  set(PYBIND11_FINDPYTHON OFF)
  if(NOT PYTHON_EXECUTABLE)
    set(PYTHON_EXECUTABLE ${PDM_CORE_PYTHON})
  endif()
  find_package(pybind11 2.10 CONFIG REQUIRED)
  get_property(library GLOBAL PROPERTY PDM_CORE_SCHEMA_DIR)
  get_property(version GLOBAL PROPERTY PDM_CORE_VERSION)
  get_property(headers GLOBAL PROPERTY PDM_CORE_PYTHON_DIR)
  list(GET module 0 source)
  list(GET module 1 stub)
  get_filename_component(name ${source} NAME_WE)
  set(made ${target}_python)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL SHARED_LIBRARY)
    set(files)
  endif()
  pybind11_add_module(${made} NO_EXTRAS ${source} ${files})
  if(type STREQUAL SHARED_LIBRARY)
    target_link_libraries(${made} PRIVATE ${target})
  endif()
  add_dependencies(${made} ${target}_${schema}_schema)
  target_include_directories(${made} PRIVATE ${out} ${headers})
  target_link_libraries(${made} PRIVATE PDM_Core::PDM_Core)
  target_link_options(${made} PRIVATE -Wl,-z,undefs) # the interpreter brings its own symbols
  target_compile_definitions(${made} PRIVATE PDM_CORE_VERSION="${version}")
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/python)
  set_target_properties(${made} PROPERTIES OUTPUT_NAME ${name} LIBRARY_OUTPUT_DIRECTORY ${folder})
  add_custom_command(TARGET ${made} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E copy_if_different ${stub} ${folder}/${name}.pyi VERBATIM)
endfunction()
