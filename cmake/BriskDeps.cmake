# Imported targets for the Debian packages the service builds on. Included by the
# project and by the installed package configuration, so that both see the same.
include_guard(GLOBAL)

set(BRISK_ANDROID_LIB_DIR "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android"
    CACHE PATH "Where Debian's android-liblog-dev and android-libutils-dev put their libraries")
set(BRISK_ANDROID_INCLUDE_DIR "/usr/include/android"
    CACHE PATH "Where Debian's Android headers live")

function(_brisk_import name libname)
    if(TARGET ${name})
        return()
    endif()
    find_library(_brisk_lib_${libname} ${libname} PATHS ${BRISK_ANDROID_LIB_DIR} NO_DEFAULT_PATH)
    if(NOT _brisk_lib_${libname})
        message(FATAL_ERROR "lib${libname} not found in ${BRISK_ANDROID_LIB_DIR}: run scripts/setup.sh")
    endif()
    add_library(${name} SHARED IMPORTED)
    set_target_properties(${name} PROPERTIES
        IMPORTED_LOCATION "${_brisk_lib_${libname}}"
        INTERFACE_INCLUDE_DIRECTORIES "${BRISK_ANDROID_INCLUDE_DIR}")
endfunction()

_brisk_import(Brisk::android_log log)
_brisk_import(Brisk::android_utils utils)

if(NOT TARGET Brisk::tinyxml2)
    find_library(_brisk_tinyxml2 tinyxml2 REQUIRED)
    find_path(_brisk_tinyxml2_inc tinyxml2.h REQUIRED)
    add_library(Brisk::tinyxml2 SHARED IMPORTED)
    set_target_properties(Brisk::tinyxml2 PROPERTIES
        IMPORTED_LOCATION "${_brisk_tinyxml2}"
        INTERFACE_INCLUDE_DIRECTORIES "${_brisk_tinyxml2_inc}")
endif()

if(NOT TARGET Brisk::safec)
    find_library(_brisk_safec safec REQUIRED)
    find_path(_brisk_safec_inc safe_str_lib.h PATH_SUFFIXES safeclib REQUIRED)
    add_library(Brisk::safec SHARED IMPORTED)
    set_target_properties(Brisk::safec PROPERTIES
        IMPORTED_LOCATION "${_brisk_safec}"
        INTERFACE_INCLUDE_DIRECTORIES "${_brisk_safec_inc}")
endif()

find_package(Threads REQUIRED)
