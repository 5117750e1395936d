// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Runs a fuzz target on the empty input and on every file of the given folders, each under its
// name. A folder that does not exist holds nothing, but there must be one file at least.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "fuzz/Fuzz.h"

namespace {

void Run(const std::string& name, const std::string& input) {
  std::cout << name << std::endl;
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
}

std::string Contents(const std::filesystem::path& path) {
  std::ifstream file;
  file.exceptions(std::ios_base::failbit | std::ios_base::badbit);
  file.open(path, std::ios_base::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Returns the number of files.
int RunFolder(const std::filesystem::path& folder) {
  int count = 0;
  if (std::filesystem::exists(folder)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      Run(entry.path().string(), Contents(entry.path()));
      ++count;
    }
  }
  return count;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Run("the empty input", "");
    int count = 0;
    for (int k = 1; k < argc; ++k) {
      count += RunFolder(argv[k]);
    }
    std::cout << count << " files" << std::endl;
    return count > 0 ? 0 : 1;
  } catch (const std::exception& e) {
    std::cerr << e.what() << std::endl;
    return 1;
  }
}
