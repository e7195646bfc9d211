# SPDX-License-Identifier: BSD-2-Clause
# The Python package of bindings/python needs no build. Its tests, label `python`, load the shared library of this
# build; what compares with the tool or needs more packages is skipped where these are missing.
quorvel_check_version(bindings/python/pyproject.toml "version = \"${PROJECT_VERSION}\"\n")
quorvel_check_version(bindings/python/quorvel_stabilizer/__init__.py "__version__ = \"${PROJECT_VERSION}\"\n")
if(QUORVEL_HAS_TESTS AND NOT QUORVEL_SANITIZE AND "quorvel_shared" IN_LIST QUORVEL_LIBRARIES)
  find_program(python_with_numpy python3 HINTS /usr/bin DOC "Python with numpy, for the tests of the Python package")
  set(python_status 1)
  if(python_with_numpy)
    execute_process(COMMAND ${python_with_numpy} -c "import numpy" RESULT_VARIABLE python_status OUTPUT_QUIET ERROR_QUIET)
  endif()
  if(NOT python_status EQUAL 0)
    quorvel_say("Tests of the Python package: off (numpy not found; Debian: python3-numpy)")
  else()
    set(python_environment
      QUORVEL_LIBRARY=$<TARGET_FILE:quorvel_shared>
      PYTHONPATH=${CMAKE_CURRENT_SOURCE_DIR}/bindings/python
      PYTHONDONTWRITEBYTECODE=1
      MALLOC_PERTURB_=85) # memory that was freed is overwritten: its use is seen
    if(TARGET quorvel_tool)
      list(APPEND python_environment
        QUORVEL_TOOL=$<TARGET_FILE:quorvel_tool> QUORVEL_CLIPGEN=$<TARGET_FILE:quorvel_clipgen>)
    endif()
    foreach(name stabilizer package)
      add_test(NAME python_${name}
        COMMAND ${python_with_numpy} ${CMAKE_CURRENT_SOURCE_DIR}/tests/python/test_${name}.py)
      set_tests_properties(python_${name} PROPERTIES
        LABELS python TIMEOUT 300 ENVIRONMENT "${python_environment}")
    endforeach()
  endif()
endif()
