#include "zupack/NginxConfiguration.h"

#include <string_view>

#include "shared/CommandLine.h"
#include "shared/ConfigAnswer.h"

namespace zuvia::zupack {
namespace {

constexpr std::string_view kSettingsMark = "# zupack site: ";

// Of its own for each site, because all sites of one nginx share their variables.
std::string variableOf(const SiteSettings& settings) {
  std::string name = "$zuvia_" + settings.server + '_' + settings.listen;
  for (std::size_t index = 1; index < name.size(); ++index) {
    const bool isPlain = (name[index] >= 'a' && name[index] <= 'z') || (name[index] >= 'A' && name[index] <= 'Z') ||
                         (name[index] >= '0' && name[index] <= '9');
    if (!isPlain) name[index] = '_';
  }
  return name;
}

std::string line(const std::string& share, const std::string& answer) {
  return "    " + share + ' ' + answer + ";\n";
}

// nginx takes no share of 0 %, and of 100 % it leaves out one user in four thousand million.
std::string choice(const SiteSettings& settings, const SiteAnswers& answers) {
  std::string text = "split_clients \"${http_uid} " + settings.offered->ver + "\" " + variableOf(settings) + " {\n";
  if (settings.share.isEverybody()) return text + line("*", answers.offered) + "}\n";
  if (!settings.share.isNobody()) text += line(settings.share.text() + '%', answers.offered);
  return text + line("*", answers.others) + "}\n";
}

std::string quoted(const std::string& path) {
  return '"' + path + '"';
}

std::string server(const SiteSettings& settings) {
  return "server {\n"
         "    listen " +
         settings.listen +
         " ssl;\n"
         "    server_name " +
         settings.server +
         ";\n"
         "    ssl_certificate " +
         quoted(settings.certificate) +
         ";\n"
         "    ssl_certificate_key " +
         quoted(settings.key) +
         ";\n"
         "    ssl_protocols TLSv1.2 TLSv1.3;\n"
         "    server_tokens off;\n"
         "    root " +
         quoted(settings.root) +
         ";\n"
         "\n"
         "    # What hosts post is answered with a file. Files are not posted to (405), which leads to the answer.\n"
         "    location = " +
         std::string(tools::kConfigurationPath) +
         " {\n"
         "        client_max_body_size 64k;\n"
         "        if ($request_method != POST) { return 404; }\n"
         "        error_page 405 =200 /answers/" +
         variableOf(settings) +
         ";\n"
         "        return 405;\n"
         "    }\n"
         "    location /answers/ {\n"
         "        internal;\n"
         "        types { }\n"
         "        default_type \"application/json; charset=utf-8\";\n"
         "        add_header Cache-Control \"no-store\";\n"
         "        etag off;\n"
         "        max_ranges 0;\n"
         "    }\n"
         "\n"
         "    # The digest in its address makes each package good for ever.\n"
         "    location /packages/ {\n"
         "        types { }\n"
         "        default_type application/x-7z-compressed;\n"
         "        add_header Cache-Control \"public, max-age=31536000, immutable\";\n"
         "        limit_except GET { deny all; }\n"
         "    }\n"
         "\n"
         "    location / { return 404; }\n"
         "}\n";
}

}  // namespace

std::string nginxConfiguration(const SiteSettings& settings, const SiteAnswers& answers) {
  return "# A part of nginx's http block. The next run of zupack site writes it anew, from its own options and from\n"
         "# the line below.\n" +
         std::string(kSettingsMark) + settingsText(settings) +
         "\n\n"
         "# The same user is always chosen for the same version, and stays chosen when the share grows.\n" +
         choice(settings, answers) + '\n' + server(settings);
}

SiteSettings settingsIn(const std::string& configuration) {
  const std::size_t mark = configuration.find(kSettingsMark);
  if (mark == std::string::npos) throw tools::Failure("it was not made by zupack site");
  const std::size_t begin = mark + kSettingsMark.size();
  return parseSettings(configuration.substr(begin, configuration.find_first_of("\r\n", begin) - begin));
}

}  // namespace zuvia::zupack
