# Imported targets for the Debian packages that only building the service needs:
# they are private to the shared libraries, so hosts need neither them nor their
# -dev packages.
include_guard(GLOBAL)

# Brisk::<name> from Debian's lib<name> and the folder of `header` (looked up
# under the optional suffix too).
function(_brisk_import_build_dep name header)
    if(TARGET Brisk::${name})
        return()
    endif()
    find_library(_brisk_${name} ${name} REQUIRED)
    find_path(_brisk_${name}_inc ${header} PATH_SUFFIXES ${ARGN} REQUIRED)
    add_library(Brisk::${name} SHARED IMPORTED)
    set_target_properties(Brisk::${name} PROPERTIES
        IMPORTED_LOCATION "${_brisk_${name}}"
        INTERFACE_INCLUDE_DIRECTORIES "${_brisk_${name}_inc}")
endfunction()

_brisk_import_build_dep(tinyxml2 tinyxml2.h)
_brisk_import_build_dep(safec safe_str_lib.h safeclib)
# libsystemd (Debian's libsystemd-dev): briskd's readiness notification.
_brisk_import_build_dep(systemd systemd/sd-daemon.h)
