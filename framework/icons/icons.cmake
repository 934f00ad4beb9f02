# Builds the icon resource of librejects.so from icons.map: every resource path
# listed there is served by a picture of the breeze icon theme, which the
# generated .qrc names by its absolute path. rcc compiles the pictures into the
# library; its static initialiser registers them when the library is loaded.
#
# Sets FRAMEWORK_ICONS_QRC to the generated resource file.

set(BREEZE_ICON_DIR "/usr/share/icons/breeze" CACHE PATH
    "Directory of the breeze icon theme (Debian package breeze-icon-theme)")

set(_icons_map ${CMAKE_CURRENT_LIST_DIR}/icons.map)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_icons_map})

file(STRINGS ${_icons_map} _icons_lines)
set(_icons_entries "")
set(_icons_missing "")
set(_icons_seen "")
foreach(_line IN LISTS _icons_lines)
    string(STRIP "${_line}" _line)
    if(_line STREQUAL "" OR _line MATCHES "^#")
        continue()
    endif()
    if(NOT _line MATCHES "^:/([^ \t]+)[ \t]+([^ \t]+)$")
        message(FATAL_ERROR "icons.map: cannot read the line \"${_line}\"")
    endif()
    set(_alias ${CMAKE_MATCH_1})
    set(_picture ${BREEZE_ICON_DIR}/${CMAKE_MATCH_2})
    if(_alias IN_LIST _icons_seen)
        message(FATAL_ERROR "icons.map: the resource :/${_alias} is listed twice")
    endif()
    list(APPEND _icons_seen ${_alias})
    if(NOT EXISTS ${_picture})
        list(APPEND _icons_missing ${_picture})
    endif()
    string(APPEND _icons_entries "    <file alias=\"${_alias}\">${_picture}</file>\n")
endforeach()

if(_icons_missing)
    string(REPLACE ";" "\n  " _icons_missing "${_icons_missing}")
    message(FATAL_ERROR "Icon pictures not found (install breeze-icon-theme with scripts/setup "
        "or set BREEZE_ICON_DIR):\n  ${_icons_missing}")
endif()

set(FRAMEWORK_ICONS_QRC ${CMAKE_CURRENT_BINARY_DIR}/framework_icons.qrc)
# Written only when the content changes, so rcc does not run on every configure.
file(CONFIGURE OUTPUT ${FRAMEWORK_ICONS_QRC}
    CONTENT "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"/\">\n${_icons_entries}</qresource>\n</RCC>\n"
    @ONLY)
