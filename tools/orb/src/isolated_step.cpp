#include "isolated_step.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "ResultCode.h"
#include "aioproto.h"
#include "atomic_file.h"
#include "console.h"
#include "engstatus.h"
#include "failure.h"
#include "open_file.h"

namespace orb::tool {

namespace {

constexpr const char* kOption = "--isolated-step";
constexpr const char* kThisProgram = "/proc/self/exe";
constexpr int kAnswerDescriptor = 3;

/// Words of the command line of a step's process, by place.
enum Word { kProgram, kOptionWord, kParent, kVerbose, kFile, kLibrary, kEntryPoint, kStep, kWords };

/// What a process says that has come to its end.
struct Answer {
  std::uint32_t result = 0;  // of the engine
  std::uint32_t stored = 0;  // of the flush
};

class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0) failWithErrno(errno, "", "cannot make a pipe");
  }
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int writeEnd() const { return ends_[1]; }
  /// Whether a whole answer has come.
  bool take(Answer& answer) const { return read(ends_[0], &answer, sizeof answer) == sizeof answer; }

 private:
  int ends_[2];
};

/// Starts this program anew. Signals of the terminal do not reach it: whether they end the command is decided here.
pid_t start(std::vector<std::string> words, const Pipe& pipe) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&actions, pipe.writeEnd(), kAnswerDescriptor);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  pid_t child = 0;
  const int error = posix_spawn(&child, kThisProgram, &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) failWithErrno(error, "", "cannot start a process for a step");
  return child;
}

int waitFor(pid_t child) {
  int state = 0;
  while (waitpid(child, &state, 0) < 0)
    if (errno != EINTR) failWithErrno(errno, "", "cannot wait for the process of a step");
  return state;
}

std::string inWords(int state) {
  if (!WIFSIGNALED(state)) return "ended its process with status " + std::to_string(WEXITSTATUS(state));
  const int signal = WTERMSIG(state);
  return "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

/// An exception of the engine ends the process where it was thrown, and its words go to standard error.
std::uint32_t execute(FileAccess& file, char** argv) noexcept {
  return file.execute(argv[kEntryPoint], argv[kLibrary], static_cast<std::uint16_t>(std::atoi(argv[kStep])));
}

/// When memory runs out it is this process that goes, not the one that waits for it.
void volunteerForLackOfMemory() {
  const int descriptor = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) return;
  [[maybe_unused]] const ssize_t n = write(descriptor, "1000", 4);
  close(descriptor);
}

}  // namespace

IsolatedSteps::IsolatedSteps(FileAccess& file) : file_(file) {
  file.runStepsWith([this](const std::string& entry_point, const std::string& library, std::uint16_t step) {
    return run(entry_point, library, step);
  });
}

IsolatedSteps::~IsolatedSteps() {
  file_.runStepsWith({});
}

std::uint32_t IsolatedSteps::run(const std::string& entry_point, const std::string& library, std::uint16_t step) {
  DraftFile draft(file_.name() + ".step", true);  // never published
  {
    FileAccess copy;
    require(copy.open(draft.path(), com::norvale::orb::CREATE), draft.path(), "cannot create");
    require(file_.duplicateTo(copy), draft.path(), "cannot copy for a step");
    draft.write(copy);
  }
  const Pipe pipe;
  const int state = waitFor(start({"orb", kOption, std::to_string(getpid()), Console::isVerbose() ? "1" : "0",
                                   draft.path(), library, entry_point, std::to_string(step)},
                                  pipe));
  Answer answer;
  if (!WIFEXITED(state) || WEXITSTATUS(state) != 0 || !pipe.take(answer)) {
    crash_ = inWords(state);
    return convertReturnCode(ENG_CRASHED);
  }
  require(answer.stored, draft.path(), "cannot store what a step found");
  FileAccess done;
  openForReading(done, draft.path());
  require(done.duplicateTo(file_), draft.path(), "cannot take over what a step found");
  return answer.result;
}

bool isIsolatedStep(int argc, char** argv) {
  return argc == kWords && std::string_view(argv[kOptionWord]) == kOption;
}

void runIsolatedStep(char** argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != std::atoi(argv[kParent])) _exit(1);  // it has gone before that
  fcntl(kAnswerDescriptor, F_SETFD, FD_CLOEXEC);
  volunteerForLackOfMemory();
  Console().setVerbose(argv[kVerbose][0] == '1');
  Answer answer;
  {
    FileAccess file;
    openForWriting(file, argv[kFile]);
    require(convertReturnCode(AioMakeDraft(file.handle())), argv[kFile], "cannot write");
    answer.result = execute(file, argv);
    answer.stored = file.close(com::norvale::orb::FLUSH);
  }
  std::fflush(nullptr);
  const bool told = write(kAnswerDescriptor, &answer, sizeof answer) == sizeof answer;
  _exit(told ? 0 : 1);  // nothing of the engine that waits for the end of the process runs any more
}

}  // namespace orb::tool
