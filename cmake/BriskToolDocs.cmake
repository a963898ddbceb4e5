# What is installed with the host programs besides themselves: their man pages
# and their bash completion. Every page in docs/man/ and every script in
# etc/completion/ is picked up.

# Man pages are written once as docs/man/<program>.<section>.scd and turned into
# roff by scdoc (Debian's package scdoc) at build time. Without scdoc the build
# goes on without them.
find_program(BRISK_SCDOC scdoc)
file(GLOB _brisk_man_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.scd)
if(BRISK_SCDOC)
    set(_brisk_man_pages "")
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/man)
    foreach(source IN LISTS _brisk_man_sources)
        get_filename_component(page ${source} NAME_WLE)
        string(REGEX REPLACE "^.*\\.([0-9])$" "\\1" section ${page})
        set(roff ${PROJECT_BINARY_DIR}/man/${page})
        add_custom_command(OUTPUT ${roff}
            COMMAND sh -c "\"$0\" < \"$1\" > \"$2\"" ${BRISK_SCDOC} ${source} ${roff}
            DEPENDS ${source}
            COMMENT "Generating man page ${page}"
            VERBATIM)
        list(APPEND _brisk_man_pages ${roff})
        install(FILES ${roff} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
    endforeach()
    add_custom_target(brisk_man_pages ALL DEPENDS ${_brisk_man_pages})
else()
    message(STATUS "scdoc not found: the man pages are not built (apt-get install scdoc)")
endif()

file(GLOB _brisk_completions CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/etc/completion/*)
install(FILES ${_brisk_completions}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
