# The host SDK for the plug-in built on its own. Defines the imported targets
# Vora::VoraBox and Vora::VoraConfig, the names the whole tree gives the
# stand-in libraries, from either
#   - CMake packages, found through CMAKE_PREFIX_PATH (VoraBoxConfig.cmake,
#     VoraConfigConfig.cmake), or
#   - with VORA_SDK_DIR, a folder of headers and libraries only: include/ (or
#     include/VoraBox/ and include/VoraConfig/) and lib/.
set(VORA_SDK_DIR "" CACHE PATH "Host SDK without CMake package files: a folder holding include/ and lib/")

function(vora_import_sdk_library name header)
  find_path(VORA_${name}_INCLUDE_DIR ${header}
      PATHS ${VORA_SDK_DIR}/include PATH_SUFFIXES ${name} NO_DEFAULT_PATH)
  find_library(VORA_${name}_LIBRARY ${name} PATHS ${VORA_SDK_DIR}/lib NO_DEFAULT_PATH)
  if(NOT VORA_${name}_INCLUDE_DIR)
    message(FATAL_ERROR "VORA_SDK_DIR ${VORA_SDK_DIR}: no ${header} in include/ or include/${name}/")
  endif()
  if(NOT VORA_${name}_LIBRARY)
    message(FATAL_ERROR "VORA_SDK_DIR ${VORA_SDK_DIR}: no library ${name} in lib/")
  endif()
  add_library(Vora::${name} SHARED IMPORTED)
  set_target_properties(Vora::${name} PROPERTIES
      IMPORTED_LOCATION ${VORA_${name}_LIBRARY}
      INTERFACE_INCLUDE_DIRECTORIES ${VORA_${name}_INCLUDE_DIR}
      INTERFACE_LINK_LIBRARIES "${ARGN}")
endfunction()

if(VORA_SDK_DIR)
  vora_import_sdk_library(VoraConfig VoraConfigSQLite.h Qt5::Core)
  vora_import_sdk_library(VoraBox VoraQObject.h Qt5::Core Vora::VoraConfig)
else()
  find_package(VoraConfig REQUIRED)
  find_package(VoraBox REQUIRED)
endif()
