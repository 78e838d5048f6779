// The built `qorsc` against hostile files (tests/pdf/data/hostile/, written by
// tests/pdf/make_test_pdfs.py): each asks for unbounded work or memory, and each must
// end quickly with a clear outcome: the page rendered with a warning, or refused with
// one error line and no output file.
//
// Bounds: CTest's TIMEOUT on every case (tests/tools/CMakeLists.txt), and an
// address-space limit on the child process, except under AddressSanitizer, whose
// shadow memory needs terabytes of address space.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "cli_fixture.h"

namespace {

namespace fs = std::filesystem;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressLimit = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAddressLimit = false;
#else
constexpr bool kAddressLimit = true;
#endif
#else
constexpr bool kAddressLimit = true;
#endif

// Far above what a page of these sizes needs, far below what the files ask for.
constexpr rlim_t kAddressSpace = rlim_t{1536} << 20;

using QorScToolTest::Outcome;

class HostileFile : public QorScToolTest::CliFixture {
 protected:
  // Runs qorsc with `arguments` in the test's directory, under the address limit.
  Outcome Qorsc(const std::vector<std::string>& arguments) const {
    const fs::path out = dir_ / "stdout.txt", err = dir_ / "stderr.txt";
    const pid_t child = fork();
    if (child == 0) {
      if (kAddressLimit) {
        const rlimit limit{kAddressSpace, kAddressSpace};
        setrlimit(RLIMIT_AS, &limit);
      }
      if (!freopen(out.c_str(), "w", stdout) || !freopen(err.c_str(), "w", stderr) ||
          chdir(dir_.c_str()) != 0) {
        _exit(127);
      }
      std::vector<char*> argv{const_cast<char*>(QORSC_CLI_PATH)};
      for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(QORSC_CLI_PATH, argv.data());
      _exit(127);
    }
    int raw = 0;
    waitpid(child, &raw, 0);
    return Finished(raw, out, err);
  }

  static std::string Hostile(const std::string& name) {
    return std::string(QORSC_TEST_DATA_DIR) + "/hostile/" + name;
  }

  // `qorsc info` reads the file, exits 0 and reports `warning` (when not empty).
  void ExpectInfo(const std::string& name, const std::string& warning) const {
    const Outcome info = Qorsc({"info", Hostile(name)});
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("Page 1"), std::string::npos) << info.out;
    if (!warning.empty()) {
      EXPECT_NE(info.out.find(warning), std::string::npos) << info.out;
    }
  }

  // `qorsc render -r 72` writes the page and warns with `warning` (when not empty).
  void ExpectRendered(const std::string& name, const std::string& warning) const {
    const Outcome render = Qorsc({"render", Hostile(name), "-r", "72", "-o", "page.tif"});
    EXPECT_EQ(render.status, 0) << render.err;
    EXPECT_TRUE(fs::exists(dir_ / "page.tif"));
    if (!warning.empty()) {
      EXPECT_NE(render.err.find(warning), std::string::npos) << render.err;
    }
  }

  // `qorsc render` at `dpi` fails with exactly one line holding `message`, and no
  // file is left in the output directory.
  void ExpectRefused(const std::string& name, const std::string& message,
                     const std::string& dpi = "72") const {
    const Outcome render = Qorsc({"render", Hostile(name), "-r", dpi, "-o", "page.tif"});
    EXPECT_EQ(render.status, 1) << render.err;
    EXPECT_EQ(render.err.rfind("qorsc: error: page 1", 0), 0u) << render.err;
    EXPECT_NE(render.err.find(message), std::string::npos) << render.err;
    EXPECT_EQ(render.err.find('\n'), render.err.size() - 1) << "one line: " << render.err;
    EXPECT_TRUE(fs::is_empty(dir_)) << "nothing left behind";
  }
};

TEST_F(HostileFile, DeeplyNestedArraysAreSkippedWithoutRecursion) {
  ExpectInfo("nested_arrays.pdf", "nested too deep");
  ExpectRendered("nested_arrays.pdf", "nested too deep");
}

TEST_F(HostileFile, DeeplyNestedDictionariesAreSkippedWithoutRecursion) {
  ExpectInfo("nested_dictionaries.pdf", "nested too deep");
  ExpectRendered("nested_dictionaries.pdf", "nested too deep");
}

TEST_F(HostileFile, DeeplyNestedObjectIsCutByQpdf) {
  ExpectInfo("nested_objects.pdf", "excessively deeply nested");
  ExpectRendered("nested_objects.pdf", "excessively deeply nested");
}

TEST_F(HostileFile, HugeMediaBoxIsRefusedAtEveryResolution) {
  ExpectInfo("huge_media_box.pdf", "");
  ExpectRefused("huge_media_box.pdf", "the page is too large to render");
  ExpectRefused("huge_media_box.pdf", "the page is too large to render", "1200");
  ExpectRefused("huge_media_box.pdf", "the page is too large to render", "1");
}

TEST_F(HostileFile, HugeUserUnitIsRefused) {
  ExpectInfo("huge_user_unit.pdf", "");
  ExpectRefused("huge_user_unit.pdf", "the page is too large to render");
}

TEST_F(HostileFile, ExponentialFormGraphPassesThePlacementBudget) {
  ExpectInfo("form_chain.pdf", "Incomplete Do /F would make more than 262144 placements");
  ExpectRefused("form_chain.pdf", "is refused: Do /F would make more than 262144 placements");
}

TEST_F(HostileFile, MutuallyRecursiveFormsDrawOnce) {
  ExpectInfo("recursive_forms.pdf", "draws itself");
  ExpectRendered("recursive_forms.pdf", "draws itself");
}

TEST_F(HostileFile, Type3GlyphShowingItsOwnFontDrawsOnce) {
  ExpectInfo("type3_recursive.pdf", "draws itself");
  ExpectRendered("type3_recursive.pdf", "draws itself");
}

TEST_F(HostileFile, SharedVisibilityExpressionIsReadOnce) {
  ExpectInfo("visibility_dag.pdf", "");
  ExpectRendered("visibility_dag.pdf", "");
}

TEST_F(HostileFile, EnormousStringIsCutOff) {
  ExpectInfo("huge_string.pdf", "longer than 16 MiB");
  ExpectRendered("huge_string.pdf", "longer than 16 MiB");
}

TEST_F(HostileFile, FlateBombInContentIsRefusedEarly) {
  ExpectInfo("flate_bomb_content.pdf", "inflates more than 4096-fold");
  ExpectRefused("flate_bomb_content.pdf", "is refused: a content stream (/Contents) inflates");
}

TEST_F(HostileFile, FlateBombInImageMaskDecodesOnlyWhatTheMaskNeeds) {
  ExpectInfo("flate_bomb_mask.pdf", "");
  ExpectRendered("flate_bomb_mask.pdf", "");
}

}  // namespace
