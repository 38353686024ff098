#pragma once

#include <cstddef>

namespace zuvia::zuserve {

// page.html; EmbedPage.cmake writes the source that defines them.
extern const unsigned char kPageBytes[];
extern const std::size_t kPageSize;

}  // namespace zuvia::zuserve
