#pragma once

#include <string>
#include <string_view>

namespace zuvia::zuserve {

// The page at the root of the service, HTML in UTF-8: page.html as it was when this was built.
std::string_view pageText();

// The Content-Security-Policy that goes with it: nothing but its own script and style, and connections to where it came
// from.
const std::string& pagePolicy();

}  // namespace zuvia::zuserve
