# cmake -D PAGE=page.html -D SOURCE=PageBytes.cpp -P EmbedPage.cmake
# Writes a source that holds the page, byte for byte.
file(READ "${PAGE}" digits HEX)
string(REGEX REPLACE "(..)" "0x\\1," bytes "${digits}")
file(WRITE "${SOURCE}" "#include \"zuserve/PageBytes.h\"

namespace zuvia::zuserve {
const unsigned char kPageBytes[] = {${bytes}};
const std::size_t kPageSize = sizeof kPageBytes;
}
")
