# Imported targets for the Debian packages that the service's interface needs
# (its headers and its shared libraries): included by the project and by the
# installed package configuration, so that both see the same.
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

find_package(Threads REQUIRED)
