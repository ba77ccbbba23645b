// Starting and talking to the helper processes of the multi-process tests,
// and reading the locks a process holds from /proc.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace process_util {

inline std::string worker_path() { return std::string(VGX_HELPER_DIR) + "/table_worker"; }

struct Child {
  pid_t pid = -1;
  int to_child = -1;    // the child's standard input, when piped
  int from_child = -1;  // the child's standard output, when piped
};

// Starts `args` (args[0] the program). With `piped`, the child's standard
// input and output are pipes to this process.
inline Child spawn(const std::vector<std::string>& args, bool piped) {
  int in[2] = {-1, -1}, out[2] = {-1, -1};
  if (piped && (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0)) return {};
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    if (piped) {
      dup2(in[0], 0);
      dup2(out[1], 1);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  Child c;
  c.pid = pid;
  if (piped) {
    close(in[0]);
    close(out[1]);
    c.to_child = in[1];
    c.from_child = out[0];
  }
  return c;
}

// Waits for the child's exit; kills it when it takes longer than `limit`.
// Answers the exit status, or -1 when it had to be killed.
inline int wait_exit(pid_t pid, std::chrono::seconds limit = std::chrono::seconds(60)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int status = 0;
  for (;;) {
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid) return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (r < 0) return -1;
    if (std::chrono::steady_clock::now() > deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

// A forked child that reports to this process through a pipe, one line at a time.
struct Forked {
  pid_t pid = -1;
  int from_child = -1;
};

template <class F>
Forked fork_child(F body) {  // body(int fd) runs in the child
  int p[2];
  if (pipe2(p, O_CLOEXEC) != 0) return {};
  const pid_t pid = fork();
  if (pid == 0) {
    close(p[0]);
    body(p[1]);
    _exit(0);
  }
  close(p[1]);
  return {pid, p[0]};
}

// In the child: one line to the parent.
inline void report(int fd, const std::string& line) {
  const std::string msg = line + "\n";
  if (write(fd, msg.data(), msg.size()) < 0) _exit(5);
}

// Collects what the child wrote until `deadline`, until its pipe closes or,
// when `until` is given, until that text has arrived.
inline void drain(int fd, std::string* out, std::chrono::steady_clock::time_point deadline,
                  const char* until = nullptr) {
  for (;;) {
    if (until && out->find(until) != std::string::npos) return;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                          deadline - std::chrono::steady_clock::now()).count();
    pollfd p{fd, POLLIN, 0};
    if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0) return;
    char buf[4096];
    const ssize_t n = read(fd, buf, sizeof buf);
    if (n <= 0) return;
    out->append(buf, static_cast<size_t>(n));
  }
}

// Kills the child (SIGKILL: no chance to clean up), reaps it and collects the
// rest of what it wrote.
inline void kill_and_collect(Forked& child, std::string* out) {
  kill(child.pid, SIGKILL);
  waitpid(child.pid, nullptr, 0);
  drain(child.from_child, out, std::chrono::steady_clock::now() + std::chrono::seconds(5));
  close(child.from_child);
}

// A table_worker in serve mode: one command line, one answer line.
class Peer {
 public:
  explicit Peer(int format)
      : child_(spawn({worker_path(), "serve", "format=" + std::to_string(format)}, true)) {}
  ~Peer() {
    if (child_.to_child >= 0) close(child_.to_child);
    if (child_.from_child >= 0) close(child_.from_child);
    if (child_.pid > 0) wait_exit(child_.pid, std::chrono::seconds(10));
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  pid_t pid() const { return child_.pid; }

  // The answer line, or "timeout" when none came within ten seconds.
  std::string ask(const std::string& line) {
    std::string msg = line + "\n";
    if (write(child_.to_child, msg.data(), msg.size()) != static_cast<ssize_t>(msg.size()))
      return "write failed";
    for (;;) {
      size_t nl = buffer_.find('\n');
      if (nl != std::string::npos) {
        std::string answer = buffer_.substr(0, nl);
        buffer_.erase(0, nl + 1);
        return answer;
      }
      pollfd p{child_.from_child, POLLIN, 0};
      if (poll(&p, 1, 10000) <= 0) return "timeout";
      char chunk[512];
      ssize_t n = read(child_.from_child, chunk, sizeof chunk);
      if (n <= 0) return "closed";
      buffer_.append(chunk, static_cast<size_t>(n));
    }
  }
  // The leading result code of the answer.
  int rc(const std::string& line) {
    std::string a = ask(line);
    try {
      return std::stoi(a);
    } catch (...) {
      return -99999;
    }
  }
  // The value after the result code.
  long value(const std::string& line) {
    std::istringstream in(ask(line));
    long rc = 0, v = -1;
    in >> rc >> v;
    return v;
  }

 private:
  Child child_;
  std::string buffer_;
};

struct HeldLock {
  std::string kind;  // FLOCK, OFDLCK, POSIX
  std::string type;  // READ, WRITE
  uint64_t start = 0;
  uint64_t end = 0;  // inclusive; UINT64_MAX for EOF
};

// The descriptor of process `pid` open on `path`, or -1.
inline int fd_of(pid_t pid, const std::filesystem::path& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path want = fs::canonical(path, ec);
  const fs::path dir = "/proc/" + std::to_string(pid) + "/fd";
  for (const auto& entry : fs::directory_iterator(dir, ec)) {
    std::error_code ec2;
    if (fs::read_symlink(entry.path(), ec2) == want) return std::stoi(entry.path().filename());
  }
  return -1;
}

// The locks held through descriptor `fd` of process `pid`, from its fdinfo.
inline std::vector<HeldLock> locks_of(pid_t pid, int fd) {
  std::vector<HeldLock> out;
  std::ifstream in("/proc/" + std::to_string(pid) + "/fdinfo/" + std::to_string(fd));
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("lock:", 0) != 0) continue;
    // lock:  1: OFDLCK ADVISORY  WRITE -1 fe:00:123 2147483645 2147483645
    std::istringstream words(line.substr(5));
    std::string number, advisory, owner, inode, start, end;
    HeldLock l;
    words >> number >> l.kind >> advisory >> l.type >> owner >> inode >> start >> end;
    l.start = std::stoull(start);
    l.end = end == "EOF" ? UINT64_MAX : std::stoull(end);
    out.push_back(l);
  }
  return out;
}

}  // namespace process_util
