// A module that does nothing but call the libraries that the plugin calls, with the same options: what they alone take.

// The options of the transfers are marked as deprecated and are those that the plugin sets.
#define CURL_DISABLE_DEPRECATION

#include <curl/curl.h>
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <openssl/crypto.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::size_t writeToFile(char* data, std::size_t size, std::size_t count, void* file) {
  static_cast<std::ofstream*>(file)->write(data, static_cast<std::streamsize>(size * count));
  return size * count;
}

bool transfer(const char* url, const char* body, std::ofstream& file) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURL* const curl = curl_easy_init();
  curl_slist* const headers = curl_slist_append(nullptr, body);
  curl_easy_setopt(curl, CURLOPT_URL, url);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS, CURLPROTO_HTTPS);
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS, CURLPROTO_HTTPS);
  curl_easy_setopt(curl, CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &writeToFile);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &file);
  const bool succeeded = curl_easy_perform(curl) == CURLE_OK;
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  OPENSSL_thread_stop();
  return succeeded;
}

}  // namespace

extern "C" __declspec(dllexport) bool callLibraries(const char* url, const char* text, const wchar_t* path) {
  std::ofstream file(std::filesystem::path(path), std::ios::binary);
  std::istringstream stream(text);
  Json::Value value;
  std::string errors;
  if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) return false;
  file << value;
  return transfer(url, Json::writeString(Json::StreamWriterBuilder(), value).c_str(), file);
}
