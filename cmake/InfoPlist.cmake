# SPDX-License-Identifier: MIT
# Reads text values from resources/Info.plist.
set(QUILLET_INFO_PLIST ${CMAKE_CURRENT_SOURCE_DIR}/resources/Info.plist)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${QUILLET_INFO_PLIST})

function(quillet_info_plist_value key result)
  file(READ ${QUILLET_INFO_PLIST} plist)
  if(NOT plist MATCHES "<key>${key}</key>[ \t\r\n]*(<array>[ \t\r\n]*)?<string>([^<]*)</string>")
    message(FATAL_ERROR "resources/Info.plist has no text under ${key}")
  endif()
  set(${result} "${CMAKE_MATCH_2}" PARENT_SCOPE)
endfunction()
