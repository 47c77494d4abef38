#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace tq::tests {

/// A fresh, empty folder that is gone with all in it when this is.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& where = std::filesystem::temp_directory_path()) {
    std::string name = (where / "tq-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no temporary folder in " + where.string());
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  /// How many files lie in the folder, those in folders beneath included.
  [[nodiscard]] std::ptrdiff_t files() const {
    const std::filesystem::recursive_directory_iterator all(path_);
    return std::count_if(begin(all), end(all), [](const auto& entry) { return !entry.is_directory(); });
  }

 private:
  std::filesystem::path path_;
};

inline void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// An environment variable set for as long as this lives.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const std::string& value) : name_(name) {
    if (const char* const old = ::getenv(name)) old_ = old;
    ::setenv(name, value.c_str(), 1);
  }
  ~EnvironmentVariable() { old_ ? ::setenv(name_, old_->c_str(), 1) : ::unsetenv(name_); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

}  // namespace tq::tests
