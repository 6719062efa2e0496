# Build settings shared by the whole tree (the top-level CMakeLists.txt) and
# by the plug-in built on its own against a host SDK (src/CMakeLists.txt), so
# that both give the same library.

# The plug-in metadata records whether the plug-in was built in debug mode; the
# host only loads release plug-ins, so release is the default here.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
set(CMAKE_AUTORCC OFF)
set(CMAKE_INCLUDE_CURRENT_DIR ON)

# A compiler cache, when the machine has one: rebuilds of the same sources in
# other build folders (sanitizer build, scratch copies) come from it.
# -DCMAKE_CXX_COMPILER_LAUNCHER= (empty) builds without it.
find_program(VORA_CCACHE ccache)
if(VORA_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VORA_CCACHE})
endif()

# Log lines carry file and function in release builds too.
add_compile_definitions(QT_MESSAGELOGCONTEXT)

# Warnings on the project's own code. CI builds with VORA_WERROR=ON, with GCC
# and Clang; it stays off by default, since another compiler version may warn
# where these do not. Warning flags only: the library is the same with or
# without them.
option(VORA_WERROR "Treat compiler warnings as errors" OFF)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-Wall -Wextra)
  if(VORA_WERROR)
    add_compile_options(-Werror)
  endif()
endif()
