// zuvia_bench: what the front module costs, as ratios to yardsticks of the same run.

#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <regex>

#include "Groups.h"
#include "Table.h"

namespace {

using namespace zuvia::bench;

struct Options {
  Settings settings;
  std::string only = ".*";
  double slack = 1;  // what a target is multiplied with before a row misses it
  bool json = false;
};

Rows measure(const Options& options) {
  Rows rows;
  for (auto* const group : {&measureCalls, &measureCache, &measureDigest, &measureDownload, &measureUnpacking,
                            &measureLoading, &measureUpdate, &measureSize}) {
    group(options.settings, rows);
  }
  return rows;
}

int run(const Options& options) {
  const Rows rows = measure(options);
  std::cout << (options.json ? toJson(rows) : toTable(rows)) << std::flush;
  const auto misses = [&](const Row& row) { return !row.isMet(options.slack); };
  return rows.empty() || std::ranges::any_of(rows, misses) ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Measures what the front module costs, as ratios to yardsticks of the same run", "zuvia_bench");
  app.set_version_flag("--version", "zuvia_bench " ZUVIA_VERSION);
  app.add_flag("--json", options.json, "one array for programs, instead of a table");
  app.add_option("--only", options.only, "the rows whose names match this regular expression");
  app.add_option("--repetitions", options.settings.repetitions, "of each measurement")->check(CLI::Range(1, 1000));
  app.add_option("--slack", options.slack, "fail only beyond so many times a target")->check(CLI::Range(1.0, 100.0));
  try {
    app.parse(argc, argv);
    options.settings.wants = [only = std::regex(options.only)](const std::string& name) {
      return std::regex_search(name, only);
    };
    return run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << "zuvia_bench: " << error.what() << '\n';
    return 2;
  }
}
