# Debian's interpreter, which has Debian's pytest.
find_program(BOARDCTL_PYTEST pytest-3 REQUIRED)
set(BOARDCTL_SANITIZED 0)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  set(BOARDCTL_SANITIZED 1)
endif()

# boardctl_pytest(name [VARIABLE=value...]): the tests of test_<name>.py in this folder, which find
# what is built through the environment and what they share in tests/support/built_program.py.
function(boardctl_pytest file)
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set(name ${folder}_${file})
  add_test(NAME ${name}
    COMMAND ${BOARDCTL_PYTEST} -q -p no:cacheprovider ${CMAKE_CURRENT_SOURCE_DIR}/test_${file}.py)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 ENVIRONMENT "\
PYTHONDONTWRITEBYTECODE=1;\
PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/support:${PROJECT_SOURCE_DIR}/tests/cli;\
BOARDCTL=$<TARGET_FILE:boardctl>;\
BOARDCTL_BUILD=${PROJECT_BINARY_DIR};\
BOARDCTL_SANITIZED=${BOARDCTL_SANITIZED};\
BOARDCTL_SIM_LIBRARY=$<TARGET_FILE:devmgr_sim>;\
BOARDCTL_SKIP_WAIT=$<TARGET_FILE:skip_wait>;\
${ARGN}")
endfunction()
