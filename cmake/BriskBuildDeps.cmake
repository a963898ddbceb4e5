# Imported targets for the Debian packages that only building the service needs:
# they are private to the shared libraries, so hosts need neither them nor their
# -dev packages.
include_guard(GLOBAL)

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

# libsystemd (Debian's libsystemd-dev): briskd's readiness notification.
if(NOT TARGET Brisk::systemd)
    find_library(_brisk_systemd systemd REQUIRED)
    find_path(_brisk_systemd_inc systemd/sd-daemon.h REQUIRED)
    add_library(Brisk::systemd SHARED IMPORTED)
    set_target_properties(Brisk::systemd PROPERTIES
        IMPORTED_LOCATION "${_brisk_systemd}"
        INTERFACE_INCLUDE_DIRECTORIES "${_brisk_systemd_inc}")
endif()
