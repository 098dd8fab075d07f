# SPDX-License-Identifier: MIT
# RPM packages (scripts/package.sh rpm); debian/ describes the Debian ones.
set(CPACK_GENERATOR RPM)
set(CPACK_PACKAGE_NAME quillet)
set(CPACK_PACKAGE_VENDOR "The Quillet authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Signing agent for web applications")
set(CPACK_RPM_PACKAGE_LICENSE MIT)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_QUILLET-AGENT-DESKTOP_PACKAGE_NAME quillet-agent-desktop)
set(CPACK_RPM_QUILLET-AGENT-DESKTOP_PACKAGE_SUMMARY "Signing agent for web applications: window")
set(CPACK_RPM_QUILLET-AGENT-DESKTOP_PACKAGE_REQUIRES "quillet-agent = ${PROJECT_VERSION}")
set(CPACK_RPM_QUILLET-DEVSERVER_PACKAGE_NAME quillet-devserver)
set(CPACK_RPM_QUILLET-DEVSERVER_PACKAGE_SUMMARY "Signing server for those who integrate the agent")
set(CPACK_RPM_QUILLET-AGENT_PACKAGE_NAME quillet-agent)
set(CPACK_RPM_QUILLET-AGENT_PACKAGE_REQUIRES ca-certificates)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Folders of the system, which are no package's but its own.
foreach(folder applications bash-completion bash-completion/completions doc icons icons/hicolor
    icons/hicolor/scalable icons/hicolor/scalable/apps man man/man1 metainfo)
  list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION /usr/share/${folder})
endforeach()
foreach(size 32 48 128 256)
  list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/share/icons/hicolor/${size}x${size} /usr/share/icons/hicolor/${size}x${size}/apps)
endforeach()
include(CPack)
