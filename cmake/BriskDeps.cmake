# Imported targets for the Debian packages the service builds on. Included by the
# project and by the installed package configuration, so that both see the same.
include_guard(GLOBAL)

# Debian keeps the Android libraries in an android/ folder of the target
# architecture's library folder (/usr/lib/<multiarch>/android), off the loader's
# default path: whatever links them also needs that folder as a run path.
find_path(BRISK_ANDROID_INCLUDE_DIR android/log.h PATH_SUFFIXES android
    DOC "Where Debian's Android headers live")

function(_brisk_import name libname)
    if(TARGET ${name})
        return()
    endif()
    find_library(BRISK_ANDROID_${libname}_LIBRARY ${libname} PATH_SUFFIXES android
        DOC "Debian's Android lib${libname} for the target architecture")
    if(NOT BRISK_ANDROID_${libname}_LIBRARY OR NOT BRISK_ANDROID_INCLUDE_DIR)
        message(FATAL_ERROR "Android lib${libname} or its headers not found: run scripts/setup.sh")
    endif()
    add_library(${name} SHARED IMPORTED)
    set_target_properties(${name} PROPERTIES
        IMPORTED_LOCATION "${BRISK_ANDROID_${libname}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${BRISK_ANDROID_INCLUDE_DIR}")
endfunction()

_brisk_import(Brisk::android_log log)
_brisk_import(Brisk::android_utils utils)
get_filename_component(BRISK_ANDROID_LIB_DIR "${BRISK_ANDROID_log_LIBRARY}" DIRECTORY)

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
