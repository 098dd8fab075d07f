# SPDX-License-Identifier: MIT
# Makes bin/Quillet.app around the program. scripts/build-macos.sh adds the icon and signs it.
set(contents ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/Quillet.app/Contents)
set_target_properties(ZqMacClient PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${contents}/MacOS)
configure_file(${QUILLET_INFO_PLIST} ${contents}/Info.plist COPYONLY)
