# cmake -D PAGE=page.html -D SOURCE=PageBytes.cpp -P EmbedPage.cmake
# Writes a source that holds the page, byte for byte, but with the line ends that browsers make of any: its policy holds
# digests of what they see.
file(READ "${PAGE}" digits HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${digits}")
string(REPLACE "0x0d,0x0a," "0x0a," bytes "${bytes}")
file(WRITE "${SOURCE}" "#include \"zuserve/PageBytes.h\"

namespace zuvia::zuserve {
const unsigned char kPageBytes[] = {${bytes}};
const std::size_t kPageSize = sizeof kPageBytes;
}
")
