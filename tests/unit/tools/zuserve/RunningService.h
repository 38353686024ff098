#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <httplib.h>

#include "../TemporaryTree.h"
#include "zuserve/Authority.h"
#include "zuserve/Service.h"

namespace zuvia::zuserve {

// A service in this process, with a client. What it prints is kept without the time.
class RunningService : public testing::Test {
 protected:
  void SetUp() override {
    test::writeFile(tree.path(L"site\\a.txt"), "hello");
    service =
        std::make_unique<Service>(Site(tree.path(L"site")), issueLocalCertificate(openAuthority(tree.path(L"ca"))),
                                  [this](const std::string& line) { keep(line); });
    port = service->bind(0);
    thread = std::thread([this] { service->run(); });
    client = std::make_unique<httplib::SSLClient>("127.0.0.1", port);
    client->enable_server_certificate_verification(false);
    client->set_read_timeout(10);
  }

  void TearDown() override {
    client.reset();
    stop();
  }

  void stop() {
    service->stop();
    if (thread.joinable()) thread.join();
  }

  void keep(const std::string& line) {
    const std::lock_guard lock(mutex);
    lines.push_back(line.substr(24));
  }

  // The status of a GET of exactly this target.
  int statusOf(const std::string& target) {
    const httplib::Result result = client->Get(target);
    return result ? result->status : 0;
  }

  httplib::Result post(const std::string& body, const httplib::Headers& headers = {}) {
    return client->Post("/configs/pc/post", headers, body, "application/json");
  }

  const test::TemporaryTree tree;
  std::unique_ptr<Service> service;
  std::unique_ptr<httplib::SSLClient> client;
  std::thread thread;
  int port = 0;
  std::mutex mutex;
  std::vector<std::string> lines;
};

}  // namespace zuvia::zuserve
