include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# For all targets, GoogleTest included; the presets choose one.
set(BOARDCTL_SANITIZER "" CACHE STRING "Sanitizers, as -fsanitize takes them; none when empty")
if(BOARDCTL_SANITIZER)
  set(sanitize -fsanitize=${BOARDCTL_SANITIZER})
  if(BOARDCTL_FUZZ)
    string(APPEND sanitize ",fuzzer-no-link")
  endif()
  add_compile_options(${sanitize} -fno-sanitize-recover=all)
  add_link_options(${sanitize})
endif()

# What every target of the project compiles with.
add_library(boardctl_options INTERFACE)
target_compile_options(boardctl_options INTERFACE
  # Full position independence in the executable as well: data of the device library is then
  # reached through the global offset table and never copied into the executable.
  -fPIC
  # Source paths in log lines, and so the built files, do not depend on where the tree and the build
  # folder lie.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=.
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
  -Wcast-align -Wformat=2 -Wno-format-y2k -Wundef -Woverloaded-virtual -Wextra-semi -Wdouble-promotion
  -Wmissing-declarations -Wimplicit-fallthrough
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>)
target_include_directories(boardctl_options INTERFACE ${PROJECT_SOURCE_DIR})

# Times beyond 2038 on 32-bit machines need the 64-bit interface, which in turn needs large files.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(boardctl_options INTERFACE _TIME_BITS=64 _FILE_OFFSET_BITS=64)
endif()

# Hardening, where the compiler offers it for the machine. The sanitizers do their own checking.
if(NOT BOARDCTL_SANITIZER)
  include(CheckCXXCompilerFlag)
  foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    string(MAKE_C_IDENTIFIER "BOARDCTL_HAS${flag}" has)
    set(CMAKE_REQUIRED_FLAGS -Werror)
    check_cxx_compiler_flag(${flag} ${has})
    unset(CMAKE_REQUIRED_FLAGS)
    if(${has})
      target_compile_options(boardctl_options INTERFACE ${flag})
    endif()
  endforeach()
  target_compile_options(boardctl_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
endif()
target_link_options(boardctl_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)

# Code and data that nobody uses do not reach the controller.
target_compile_options(boardctl_options INTERFACE -ffunction-sections -fdata-sections)
target_link_options(boardctl_options INTERFACE -Wl,--gc-sections)

find_package(Threads REQUIRED)
