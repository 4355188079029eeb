#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "kcommon/kerr.h"
#include "kcommon/kfnp.h"
#include "kcommon/kstr.h"
#include "support/modelhost.h"
#include "torture/graph.h"
#include "torture/mutator.h"
#include "txlib/document.h"

// Whatever a document says, it is refused with its faults or opens; checking and opening agree.
namespace {

using namespace torture;
using Tamrin::Tessera::DocumentException;
using testing_support::TemporaryFolder;
namespace PlainDocument = Tamrin::Tessera::PlainDocument;
namespace fs = std::filesystem;

std::string ReadAll(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> Corpus() {
  std::vector<fs::path> files;
  for (const char* folder : {"examples", "examples/parts", "fuzz/corpus/document"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(TORTURE_SOURCE) / folder)) {
      if (entry.path().extension() == ".tsmx") files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  std::vector<std::string> texts;
  for (const auto& file : files) texts.push_back(ReadAll(file));
  for (std::uint64_t seed = 1; seed <= 6; ++seed) texts.push_back(WriteDocument(MakeGraph(seed, 12), {{}, seed}));
  return texts;
}

// One that never ends says which it is: the handler may not allocate.
char note[160];
extern "C" void TellDocument(int number) {
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, note, std::strlen(note));
  ::signal(number, SIG_DFL);
  ::raise(number);
}

class RandomDocuments : public ::testing::Test {
 protected:
  RandomDocuments() {
    kerr_SetSessionLogSink([](const std::wstring&) {});
    ::signal(SIGALRM, &TellDocument);
  }
  ~RandomDocuments() override {
    ::alarm(0);
    ::signal(SIGALRM, SIG_DFL);
  }
  /// Links of documents lead nowhere from here, and what they write lies here.
  static std::string Made(const std::vector<std::string>& corpus, const Rounds& rounds) {
    std::snprintf(note, sizeof note, "\na document never ended; %s\n", rounds.Repeat().c_str());
    ::alarm(60);
    Dice dice(rounds.Seed());
    const std::string& document = dice.Of(corpus);
    return Mutate(document, corpus, dice);
  }
  using Problems = std::vector<Tamrin::Tessera::DocumentProblem>;
  static std::string AllOf(const Problems& problems) {
    std::string text;
    for (const auto& problem : problems) text += kstr_ToUtf8(problem.ToString()) + "\n";
    return text;
  }
  static bool HasErrors(const Problems& problems) {
    return std::any_of(problems.begin(), problems.end(), [](const auto& problem) { return !problem.warning; });
  }
  /// An operator that isn't there is an error to those who check, and keeps its place for those who open. What the
  /// document itself is has to be there.
  static bool IsRefused(Problems problems) {
    std::erase_if(problems, [](const auto& problem) {
      return problem.path != "operator" && problem.text.starts_with(L"found the unknown operator \"");
    });
    return HasErrors(problems);
  }

  const std::vector<std::string> corpus_ = Corpus();
};

TEST_F(RandomDocuments, AreRefusedOrOpenAndStayTheSame) {
  ASSERT_GT(corpus_.size(), 15u);
  unsigned opened = 0, refused = 0;
  for (Rounds rounds("documents", 1500); rounds.Next() && !HasFailure();) {
    SCOPED_TRACE(rounds.Repeat());
    const std::string text = Made(corpus_, rounds);
    const auto problems = PlainDocument::Check(text);
    try {
      const std::string once = PlainDocument::Save(PlainDocument::Open(text));
      EXPECT_FALSE(IsRefused(problems)) << "it opens, though checking refuses it: " << AllOf(problems) << "\n" << text;
      EXPECT_EQ(PlainDocument::Save(PlainDocument::Open(once)), once) << text;
      EXPECT_FALSE(IsRefused(PlainDocument::Check(once))) << text;
      ++opened;
    } catch (const DocumentException& exception) {
      EXPECT_TRUE(IsRefused(problems)) << "it is refused, though checking finds nothing: " << exception.what() << "\n"
                                       << text;
      for (const auto& problem : exception.GetProblems()) EXPECT_FALSE(problem.text.empty());
      ++refused;
    }
  }
  // A mutator that makes one kind alone tests little.
  if (opened + refused > 100) {
    EXPECT_GT(opened * 10, refused);
    EXPECT_GT(refused * 10, opened);
  }
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Sanitizers reserve far more addresses than there is memory.
const std::string kMemoryLimit;
#else
const std::string kMemoryLimit = "ulimit -v 4000000 && ";
#endif

/// The exit status of the program; 128 and more for a signal. Memory and time have bounds.
int Program(const std::string& words, const std::string& folder) {
  const std::string program = std::string(std::getenv("VANTIX_HOME")) + "/bin/" + std::getenv("ARCHM") + "/tessera";
  const std::string command = "cd '" + folder + "' && " + kMemoryLimit + "exec timeout -s KILL 30 '" + program + "' " +
                              words + " > said 2>&1 < /dev/null";
  const int status = std::system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST_F(RandomDocuments, NeverEndThePrograms) {
  const std::string program = std::string(std::getenv("VANTIX_HOME")) + "/bin/" + std::getenv("ARCHM") + "/tessera";
  if (::access(program.c_str(), X_OK) != 0) GTEST_SKIP() << "there is no " << program;
  const TemporaryFolder folder;
  for (Rounds rounds("documents", 60); rounds.Next() && !HasFailure();) {
    SCOPED_TRACE(rounds.Repeat());
    const std::string text = Made(corpus_, rounds);
    ::alarm(120);
    const std::wstring file = folder.Write("m.tsmx", text);
    const auto problems = PlainDocument::Check(text, file);
    const bool isRefused = IsRefused(problems);
    EXPECT_EQ(Program("check m.tsmx", folder.Path()), HasErrors(problems) ? 2 : 0) << folder.Read("said") << text;
    const int status = Program("run m.tsmx --threads 0", folder.Path());
    EXPECT_TRUE(isRefused ? status == 2 : status == 0 || status == 1) << status << "\n" << folder.Read("said") << text;
    EXPECT_TRUE(status == 0 || folder.Read("said").find("error: ") != std::string::npos) << folder.Read("said");
  }
}

// A shorter text of a document that is read is no document: each of its beginnings is refused, at its end.
TEST_F(RandomDocuments, BeginningsAreRefused) {
  for (Rounds rounds("documents", 60); rounds.Next() && !HasFailure();) {
    SCOPED_TRACE(rounds.Repeat());
    Dice dice(rounds.Seed());
    const std::string& document = dice.Of(corpus_);
    const std::size_t end = document.find_last_of('}');
    ASSERT_NE(end, std::string::npos);
    for (int i = 0; i < 10; ++i) {
      const std::string text = document.substr(0, dice.Below(end + 1));
      ::alarm(60);
      EXPECT_TRUE(HasErrors(PlainDocument::Check(text))) << text;
      EXPECT_THROW(PlainDocument::Open(text), DocumentException) << text;
    }
  }
}

}  // namespace
