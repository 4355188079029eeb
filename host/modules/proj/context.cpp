#include "context.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "kcommon/kstr.h"
#include "korvenlog/exception.h"

namespace {

/// Small numbers for the threads that run at a time.
class Slots {
 public:
  static Slots& Get() {
    static Slots& slots = *new Slots;
    return slots;
  }
  int Take() {
    const std::lock_guard lock(mutex_);
    const auto free = std::find(taken_.begin(), taken_.end(), false);
    if (free == taken_.end()) return taken_.push_back(true), static_cast<int>(taken_.size()) - 1;
    *free = true;
    return static_cast<int>(free - taken_.begin());
  }
  void Release(int slot) {
    const std::lock_guard lock(mutex_);
    taken_[static_cast<std::size_t>(slot)] = false;
  }

 private:
  std::mutex mutex_;
  std::vector<bool> taken_;
};

struct ThreadContext {
  PJ_CONTEXT* context = nullptr;
  int slot = -1;
  std::string words;

  ThreadContext() = default;
  ThreadContext(const ThreadContext&) = delete;
  ThreadContext& operator=(const ThreadContext&) = delete;
  ~ThreadContext() { Close(); }

  void Close() {
    if (context) ::proj_context_destroy(context);
    context = nullptr;
    if (slot >= 0) Slots::Get().Release(slot);
    slot = -1;
  }
};

// Not a member of the context: objects that end with the thread may still speak.
ThreadContext& OfThread() {
  thread_local ThreadContext own;
  return own;
}

[[noreturn]] void RefuseDatabase(const std::string& words) {
  std::string text = "Coordinate reference systems need PROJ's database proj.db of a version that PROJ " +
                     TextOf(::proj_info().version) + " can read. It was looked for in " +
                     TextOf(::proj_info().searchpath) + " (set by PROJ_DATA or PROJ_LIB, which else need not be set)";
  text += words.empty() ? ", and is not there" : ": " + words;
  text += ". It is part of the package proj-data.";
  KorvenLog::CPPException<std::runtime_error>(L"modules\\proj\\context", L"Context")
      .Throw(__LINE__, kstr_FromUtf8Lossy(text));
}

/// Contexts that name the database alike share one connection and its lock, so that two threads are slower together
/// than one alone; so each thread spells the path in its own way. 64 spellings are enough for any machine's worth of
/// threads.
void SpellDatabasePath(ThreadContext& own) {
  own.slot = Slots::Get().Take();
  std::string path = TextOf(::proj_context_get_database_path(own.context));
  const std::size_t slash = path.rfind('/');
  if (own.slot == 0 || slash == std::string::npos) return;
  for (int i = 0; i < own.slot % 64; ++i) path.insert(slash, "/.");
  ::proj_context_set_database_path(own.context, path.c_str(), nullptr, nullptr);
}

void Open(ThreadContext& own) {
  own.words.clear();
  own.context = ::proj_context_create();
  // Without a function of our own PROJ writes to standard error.
  ::proj_log_func(own.context, &own, [](void* keeper, int, const char* words) {
    static_cast<ThreadContext*>(keeper)->words = TextOf(words);
  });
  ::proj_context_set_enable_network(own.context, 0);
  SpellDatabasePath(own);
  // The version is asked for as well: the path alone is found for a database that can't be read.
  if (::proj_context_get_database_path(own.context) &&
      ::proj_context_get_database_metadata(own.context, "DATABASE.LAYOUT.VERSION.MAJOR")) {
    const TextList codes(::proj_get_authorities_from_database(own.context));
    if (codes && codes.get()[0]) return;
  }
  own.Close();
  RefuseDatabase(own.words);
}

/// PROJ looks nothing up in its database for a text that has "proj=" anywhere, such as in a remark.
std::string WithoutPhrase(std::string json) {
  constexpr std::string_view kPhrase = "proj=", kSame = "proj\\u003d";
  for (std::size_t at = json.find(kPhrase); at != std::string::npos; at = json.find(kPhrase, at))
    json.replace(at, kPhrase.size(), kSame);
  return json;
}

}  // namespace

PJ_CONTEXT* Context() {
  ThreadContext& own = OfThread();
  if (!own.context) Open(own);
  return own.context;
}

const std::string& LastWords() { return OfThread().words; }
void ForgetWords() { OfThread().words.clear(); }

Object WithoutTie(Object system) {
  while (system && ::proj_get_type(system.get()) == PJ_TYPE_BOUND_CRS)
    system.reset(::proj_get_source_crs(Context(), system.get()));
  return system;
}

Object MakeSystem(const kprj::proj::Source& source) {
  PJ_CONTEXT* const context = Context();
  ForgetWords();
  if (source.IsRegistered())
    return Object(::proj_create_from_database(context, source.authority.c_str(), source.code.c_str(), PJ_CATEGORY_CRS,
                                              0, nullptr));
  // The call takes names and other forms too: PROJJSON alone is meant.
  if (source.json.empty() || source.json.front() != '{') return nullptr;
  Object system = WithoutTie(Object(::proj_create(context, WithoutPhrase(source.json).c_str())));
  if (system && !::proj_is_crs(system.get())) return nullptr;
  return system;
}
