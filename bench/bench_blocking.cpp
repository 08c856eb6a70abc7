// Converting the real EasyPrivacy list: best of several runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "blocking/easy_privacy.h"

int main() {
  std::string path = std::string(QUILLO_TEST_DATA_DIR) + "/easyprivacy.txt";
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "bench_blocking: %s is not available\n", path.c_str());
    return 0;
  }
  std::stringstream buffer;
  buffer << file.rdbuf();
  const std::string text = buffer.str();
  long lines = long(std::count(text.begin(), text.end(), '\n'));
  if (!text.empty() && text.back() != '\n') ++lines;

  constexpr int kRuns = 15;
  double best = 1e9, total = 0;
  quillo::EasyPrivacy::Converted result;
  for (int i = 0; i < kRuns; ++i) {
    auto start = std::chrono::steady_clock::now();
    result = quillo::EasyPrivacy::convert(text);
    double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    best = std::min(best, ms);
    total += ms;
  }
  std::printf("runs: %d, best %.1f ms, mean %.1f ms, %.2f MB in, %.2f MB of JSON out\n", kRuns, best, total / kRuns,
              double(text.size()) / 1e6, double(result.json.size()) / 1e6);
  std::printf("lines per second: %.0f\n", double(lines) / (best / 1000.0));
  std::printf("easyprivacy convert: %.1f ms, %ld lines, %d blocking, %d exceptions, %d skipped\n", best, lines,
              result.blocking, result.exceptions, result.skipped);
  std::printf("skipped by reason:");
  for (size_t i = 0; i < quillo::EasyPrivacy::skipKinds; ++i) {
    if (result.skippedBy[i])
      std::printf(" %s %d;", quillo::EasyPrivacy::describe(quillo::EasyPrivacy::Skip(i)), result.skippedBy[i]);
  }
  std::printf("\n");
  return 0;
}
