# cmake -D EMBED=EmbedPage.cmake -D DIRECTORY=directory -P embed-page.cmake
# A page with the line ends of Windows is embedded with line feeds alone.
set(PAGE "${DIRECTORY}/page.html")
set(SOURCE "${DIRECTORY}/PageBytes.cpp")
string(ASCII 13 return)
file(WRITE "${PAGE}" "a${return}\nb${return}\n")
include("${EMBED}")
file(READ "${SOURCE}" source)
if(NOT source MATCHES "{0x61,0x0a,0x62,0x0a,}")
  message(FATAL_ERROR "a${return}\\nb${return}\\n was embedded as ${source}")
endif()
