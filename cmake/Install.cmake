# SPDX-License-Identifier: MIT
# What `cmake --install` puts where on Linux. The packages of debian/ and the archive of
# scripts/package.sh are made of these rules. The components are the packages.
include(GNUInstallDirs)

# What the desktop entry names as the program; a bare name for a tree whose place is not known yet.
set(QUILLET_ENTRY_PROGRAM "${CMAKE_INSTALL_FULL_BINDIR}/ZqMacClient" CACHE STRING
  "The program in the installed desktop entry")
set(linux ${PROJECT_SOURCE_DIR}/resources/linux)
set(share ${CMAKE_INSTALL_DATADIR})

install(TARGETS ZqMacClient DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT quillet-agent)
install(TARGETS quillet-module-probe DESTINATION ${CMAKE_INSTALL_LIBDIR}/quillet-agent
  COMPONENT quillet-agent)
install(FILES ${linux}/ZqMacClient.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  COMPONENT quillet-agent)
install(FILES ${linux}/ZqMacClient.bash RENAME ZqMacClient
  DESTINATION ${share}/bash-completion/completions COMPONENT quillet-agent)
install(DIRECTORY ${linux}/examples DESTINATION ${share}/doc/quillet-agent COMPONENT quillet-agent)

install(TARGETS quillet-devserver DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT quillet-devserver)
install(FILES ${linux}/quillet-devserver.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  COMPONENT quillet-devserver)
install(FILES ${linux}/quillet-devserver.bash RENAME quillet-devserver
  DESTINATION ${share}/bash-completion/completions COMPONENT quillet-devserver)
install(FILES docs/protocol.md DESTINATION ${share}/doc/quillet-devserver
  COMPONENT quillet-devserver)
install(FILES devserver/samples/contract.pdf devserver/samples/order.xml
  DESTINATION ${share}/doc/quillet-devserver/examples COMPONENT quillet-devserver)

if(NOT QUILLET_DESKTOP)
  return() # without a window the agent registers itself, to be run in a terminal
endif()
quillet_info_plist_value(CFBundleIdentifier identifier)
quillet_info_plist_value(CFBundleURLSchemes scheme)
install(TARGETS quillet_desktop DESTINATION ${CMAKE_INSTALL_LIBDIR}/quillet-agent
  COMPONENT quillet-agent-desktop)

# The user's own entry is made of the same file; it is not shown in menus, the system's is.
file(READ resources/${identifier}.desktop entry)
string(REPLACE "{program}" "${QUILLET_ENTRY_PROGRAM}" entry "${entry}")
string(REPLACE "{scheme}" "${scheme}" entry "${entry}")
string(REPLACE "{terminal}" "false" entry "${entry}")
string(REPLACE "NoDisplay=true\n" "" entry "${entry}")
file(CONFIGURE OUTPUT ${identifier}.desktop @ONLY CONTENT
  "${entry}TryExec=${QUILLET_ENTRY_PROGRAM}\nIcon=${identifier}\nStartupNotify=true\nKeywords=sign;signature;certificate;PDF;XML;\n")
install(FILES ${PROJECT_BINARY_DIR}/${identifier}.desktop DESTINATION ${share}/applications
  COMPONENT quillet-agent-desktop)
configure_file(${linux}/${identifier}.metainfo.xml ${identifier}.metainfo.xml @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${identifier}.metainfo.xml DESTINATION ${share}/metainfo
  COMPONENT quillet-agent-desktop)
foreach(size 32 48 128 256)
  install(FILES resources/icons/${size}.png RENAME ${identifier}.png
    DESTINATION ${share}/icons/hicolor/${size}x${size}/apps COMPONENT quillet-agent-desktop)
endforeach()
install(FILES resources/${identifier}.svg DESTINATION ${share}/icons/hicolor/scalable/apps
  COMPONENT quillet-agent-desktop)
