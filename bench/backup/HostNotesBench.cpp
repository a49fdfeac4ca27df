// The built host on a large notes set: 10,000 notes, 2,000 of them with a 512 KiB file that
// does not compress (1 GiB of files), written by the emulator as a plain and as an encrypted
// backup, exported by `veldrake notes --backup B --format md|html -o DIR` run as a child. Its
// wall time and peak resident memory (from wait4) are set against two floors measured in the
// same run and on the same file system: the backup's content files read, decrypted with
// OpenSSL's AES-256-CBC when encrypted, and written with plain writes; and the same files as
// the export writes (each note's own file of text too, each content file in its note's
// folder). The last ratio adds one syncfs to the second floor, since the export makes its
// files durable before it shows them.
//
//   backup_host_notes_bench PATH/TO/veldrake [ROUNDS] [WORK_FOLDER] [--keep-outputs]
//
// ROUNDS 0 writes the two backups to WORK_FOLDER/host-notes-set and keeps them, for
// profiling one export by hand.
//
// Every round runs each export and its floors, taking turns at going first, each into a new
// folder. The set (about 3 GiB while both backups exist, and 1 GiB more for every run's
// output with --keep-outputs) lives in WORK_FOLDER (default $TMPDIR or /tmp) and is removed
// on every exit: normal, failed, or stopped by SIGINT/SIGTERM/SIGHUP.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "NoteFileSet.h"

namespace {

namespace fs = std::filesystem;

const notefileset::Shape kShape{10000, 5, 512 * 1024};
const char kPassword[] = "bench password";
constexpr int kDefaultRounds = 3;

fs::path gRoot;             // removed on every exit
volatile pid_t gChild = 0;  // stopped with us

void RemoveRoot() {
  std::error_code ignored;
  if (!gRoot.empty()) fs::remove_all(gRoot, ignored);
}

// Not async-signal-safe in the strict sense, but the process ends right after and the
// alternative is leaving gigabytes behind.
void OnSignal(int) {
  if (gChild > 0) kill(gChild, SIGKILL);
  RemoveRoot();
  _exit(2);
}

struct Run {
  double seconds = -1;
  long peakKiB = 0;
};

// Runs the host once as a child; its wall time and peak resident set.
Run RunHost(const std::vector<std::string>& args, const fs::path& log) {
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  gChild = pid;
  int status = 0;
  struct rusage usage {};
  const pid_t done = pid < 0 ? -1 : wait4(pid, &status, 0, &usage);
  gChild = 0;
  Run run;
  if (done == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.peakKiB = usage.ru_maxrss;
  }
  return run;
}

// The seconds one syncfs of the file system holding `dir` takes: what the export pays to
// make its files durable before it renames them into place.
double SyncSeconds(const fs::path& dir) {
  const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const auto start = std::chrono::steady_clock::now();
  const bool ok = fd >= 0 && syncfs(fd) == 0;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  if (fd >= 0) close(fd);
  return ok ? seconds.count() : -1;
}

bool gKeepOutputs = false;  // --keep-outputs

// A new output folder for every run; the last one removed first unless --keep-outputs. On
// an ext4 without a journal the allocator skips the inodes of a tree removed a minute
// before at a cost on every create, which would be charged to whichever run came next;
// there, keep the outputs (about 2 GiB a run) until the end.
fs::path FreshOutput() {
  static int runs = 0;
  static fs::path last;
  if (!last.empty() && !gKeepOutputs) fs::remove_all(last);
  last = gRoot / ("out-" + std::to_string(++runs));
  fs::create_directories(last);
  return last;
}

struct Series {
  std::string name;
  std::vector<double> exported, floor, same, ratio, ratioSame, synced;
  long peakKiB = 0;
};

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

std::string Spread(const std::vector<double>& v) {
  const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
  char text[64];
  std::snprintf(text, sizeof text, "%.2f (%.2f-%.2f)", Median(v), *lo, *hi);
  return text;
}

void Print(const Series& s) {
  std::printf(
      "%-14s export %s s  floor %s s  same files %s s  ratio %s  to same files %s"
      "  to same files+sync %.2f  peak RSS %ld KiB\n",
      s.name.c_str(), Spread(s.exported).c_str(), Spread(s.floor).c_str(), Spread(s.same).c_str(),
      Spread(s.ratio).c_str(), Spread(s.ratioSame).c_str(), Median(s.synced), s.peakKiB);
}

// One export and its two floors, the order turned by `round`; false when one failed.
bool Round(const std::string& host, const fs::path& backup, bool encrypted,
           const std::string& format, int round, Series* s) {
  Run run;
  double floor = 0, same = 0, sync = 0;
  for (int step = 0; step < 3; ++step) {
    const fs::path out = FreshOutput();
    SyncSeconds(out);  // each side starts with nothing of the other's waiting to be written
    const int which = (step + round) % 3;
    if (which == 0) {
      std::vector<std::string> args{
          host,       "notes", "--backup", backup.string(),
          "--format", format,  "-o",       (out / "export").string() + "/"};
      if (encrypted) args.insert(args.end(), {"--password-file", (gRoot / "password").string()});
      run = RunHost(args, gRoot / "host.log");
    } else if (which == 1) {
      floor = notefileset::Floor(backup.string(), out.string(), kShape.fileBytes, encrypted);
    } else {
      same =
          notefileset::Floor(backup.string(), out.string(), kShape.fileBytes, encrypted, &kShape);
      sync = SyncSeconds(out);
    }
  }
  if (run.seconds < 0 || floor <= 0 || same <= 0 || sync < 0) return false;
  s->exported.push_back(run.seconds);
  s->floor.push_back(floor);
  s->same.push_back(same);
  s->ratio.push_back(run.seconds / floor);
  s->ratioSame.push_back(run.seconds / same);
  s->synced.push_back(run.seconds / (same + sync));
  s->peakKiB = std::max(s->peakKiB, run.peakKiB);
  return true;
}

void PrintLoad(const char* when) {
  double load[3] = {};
  if (getloadavg(load, 3) == 3)
    std::printf("load average %s: %.2f %.2f %.2f\n", when, load[0], load[1], load[2]);
}

bool Prepare(fs::path* plain, fs::path* encrypted) {
  *plain = gRoot / "plain";
  *encrypted = gRoot / "encrypted";
  std::ofstream(gRoot / "password") << kPassword;
  fs::permissions(gRoot / "password", fs::perms::owner_read | fs::perms::owner_write);
  const std::string files = (gRoot / "files").string();
  std::string error;
  const bool ok = notefileset::WriteFiles(kShape, files) &&
                  notefileset::WriteBackup(kShape, files, plain->string(), "", &error) &&
                  notefileset::WriteBackup(kShape, files, encrypted->string(), kPassword, &error);
  fs::remove_all(files);
  if (!ok) std::fprintf(stderr, "the emulator could not write the set: %s\n", error.c_str());
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s PATH/TO/veldrake [ROUNDS] [WORK_FOLDER]\n", argv[0]);
    return 2;
  }
  const std::string host = fs::absolute(argv[1]).string();
  const int rounds = argc > 2 ? std::max(0, std::atoi(argv[2])) : kDefaultRounds;
  const char* tmp = std::getenv("TMPDIR");
  const fs::path work = argc > 3 ? argv[3] : tmp != nullptr ? tmp : "/tmp";
  gKeepOutputs = argc > 4 && std::string(argv[4]) == "--keep-outputs";
  gRoot = work / (rounds == 0 ? std::string("host-notes-set")
                              : "host-notes-bench-" + std::to_string(getpid()));
  for (int sig : {SIGINT, SIGTERM, SIGHUP}) signal(sig, OnSignal);
  std::atexit(RemoveRoot);
  fs::create_directories(gRoot);
  fs::path plain, encrypted;
  if (!Prepare(&plain, &encrypted)) return 1;
  if (rounds == 0) {
    std::printf("kept: %s and %s\n", plain.c_str(), encrypted.c_str());
    gRoot.clear();
    return 0;
  }
  PrintLoad("before");
  std::vector<Series> all;
  for (const bool enc : {false, true})
    for (const std::string format : {"md", "html"})
      all.push_back(
          Series{std::string(enc ? "encrypted " : "plain ") + format, {}, {}, {}, {}, {}, {}, 0});
  for (int r = 0; r < rounds; ++r) {
    for (size_t i = 0; i < all.size(); ++i) {
      const bool enc = i >= 2;
      if (!Round(host, enc ? encrypted : plain, enc, i % 2 == 0 ? "md" : "html", r, &all[i])) {
        std::fprintf(stderr, "%s failed; see the host's output:\n", all[i].name.c_str());
        std::ifstream log(gRoot / "host.log");
        std::fprintf(stderr, "%s\n", std::string(std::istreambuf_iterator<char>(log), {}).c_str());
        return 1;
      }
    }
  }
  PrintLoad("after");
  for (const Series& s : all) Print(s);
  return 0;
}
