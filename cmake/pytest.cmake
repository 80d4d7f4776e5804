# Debian's interpreter, which has Debian's pytest.
find_program(BOARDCTL_PYTEST pytest-3)
if(NOT BOARDCTL_PYTEST)
  message(FATAL_ERROR "pytest-3 is missing: install the package python3-pytest")
endif()

# boardctl_pytest(name [BUILDS] [VARIABLE=value...]): the tests of test_<name>.py in this folder,
# which find what is built through the environment and what they share in tests/support/. BUILDS
# says that they build or pack something, with all processors.
function(boardctl_pytest file)
  cmake_parse_arguments(PARSE_ARGV 1 test "BUILDS" "" "")
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set(name ${folder}_${file})
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
  set(sanitized 0)
  if(BOARDCTL_SANITIZER)
    set(sanitized 1)
  endif()
  add_test(NAME ${name}
    COMMAND ${BOARDCTL_PYTEST} -q -p no:cacheprovider -p missing_program
      ${CMAKE_CURRENT_SOURCE_DIR}/test_${file}.py)
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "\
PYTHONDONTWRITEBYTECODE=1;\
PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/support:${PROJECT_SOURCE_DIR}/tests/cli;\
BOARDCTL=$<TARGET_FILE:boardctl>;\
BOARDCTL_BUILD=${PROJECT_BINARY_DIR};\
BOARDCTL_EMULATOR=${emulator};\
BOARDCTL_SANITIZED=${sanitized};\
BOARDCTL_SIM_LIBRARY=$<TARGET_FILE:devmgr_sim>;\
BOARDCTL_SKIP_WAIT=$<TARGET_FILE:skip_wait>;\
${test_UNPARSED_ARGUMENTS}")
  if(test_BUILDS)
    boardctl_builds(${name})
  endif()
endfunction()
