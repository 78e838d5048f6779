// What the tests of the built `qorsc` command share: a scratch directory per test,
// removed afterwards, and the outcome of one run.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace QorScToolTest {

struct Outcome {
  int status = -1;  // exit status, or -1 when the command was killed by a signal
  std::string out;
  std::string err;
};

class CliFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("qorsc_cli_test_" + std::to_string(getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  static std::string Read(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  // The outcome of a finished run (its wait status) whose output went to `out` and
  // `err`; both files are removed.
  static Outcome Finished(int wait_status, const std::filesystem::path& out,
                          const std::filesystem::path& err) {
    Outcome run;
    run.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
    run.out = Read(out);
    run.err = Read(err);
    std::filesystem::remove(out);
    std::filesystem::remove(err);
    return run;
  }

  std::filesystem::path dir_;  // the command's working directory
};

}  // namespace QorScToolTest
