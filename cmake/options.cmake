include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

# What every target of the project compiles with.
add_library(boardctl_options INTERFACE)
target_compile_options(boardctl_options INTERFACE
  # Full position independence in the executable as well: data of the device library is then
  # reached through the global offset table and never copied into the executable.
  -fPIC
  # Source paths in log lines, and so the built files, do not depend on where the tree lies.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
  -Wcast-align -Wformat=2 -Wno-format-y2k -Wundef -Woverloaded-virtual -Wextra-semi -Wdouble-promotion
  -Wmissing-declarations -Wimplicit-fallthrough
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>)
target_include_directories(boardctl_options INTERFACE ${PROJECT_SOURCE_DIR})

find_package(Threads REQUIRED)
