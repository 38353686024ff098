#include "Script.h"

#include <iterator>

#include "Text.h"

namespace zuhost {

Script::Script(const std::filesystem::path& file) : name_(utf8Of(file.native())) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::ifstream stream(file, std::ios::binary);
  const std::string content((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  if (!stream.is_open() || stream.bad()) throw UnreadableScript("cannot read the script " + name_);
  lines_.add(content.starts_with(kByteOrderMark) ? content.substr(kByteOrderMark.size()) : content);
}

std::optional<std::string> Script::nextLine() {
  auto line = lines_.next();
  if (!line) line = lines_.last();
  if (line) ++number_;
  return line;
}

std::string Script::position() const {
  return name_ + ':' + std::to_string(number_);
}

}  // namespace zuhost
