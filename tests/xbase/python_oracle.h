// Running the system's python readers of xBase tables (dbfread, dbf) as black-box
// oracles for the interoperability tests: the scripts live in tests/interop, and only
// /usr/bin/python3 sees the distribution's modules.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vgx_test {

inline constexpr const char* kPython = "/usr/bin/python3";

inline std::filesystem::path interop_script(const char* name) {
  if (const char* dir = std::getenv("VGX_INTEROP_DIR")) return std::filesystem::path(dir) / name;
  return std::filesystem::path(__FILE__).parent_path().parent_path() / "interop" / name;
}

inline std::filesystem::path samples_dir() {
  if (const char* dir = std::getenv("VGX_SAMPLES_DIR")) return dir;
  return VGX_SAMPLES_DIR;
}

// One argument for the shell, whatever bytes it holds.
inline std::string shell_quote(const std::string& s) {
  std::string out = "'";
  for (char c : s) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

struct RunResult {
  int status = -1;  // the exit status, -1 when the command did not end normally
  std::string out;  // everything written to the standard output
};

inline RunResult run_command(const std::string& command) {
  RunResult r;
  FILE* p = ::popen(command.c_str(), "r");
  if (p == nullptr) return r;
  char buf[1 << 16];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  int st = ::pclose(p);
  r.status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return r;
}

// Whether /usr/bin/python3 can import every module named ("dbfread, dbf").
inline bool python_has(const std::string& modules) {
  return run_command(std::string(kPython) + " -c " + shell_quote("import " + modules) +
                     " 2>/dev/null")
             .status == 0;
}

inline std::string to_hex(std::string_view bytes) {
  static const char* digits = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

inline std::string from_hex(std::string_view hex) {
  auto nibble = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::string out;
  out.reserve(hex.size() / 2);
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    out += static_cast<char>(nibble(hex[i]) * 16 + nibble(hex[i + 1]));
  return out;
}

inline std::vector<std::string> split(std::string_view s, char sep) {
  std::vector<std::string> out;
  size_t start = 0;
  for (;;) {
    size_t at = s.find(sep, start);
    out.emplace_back(
        s.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start));
    if (at == std::string_view::npos) return out;
    start = at + 1;
  }
}

// The first bytes of a long value, for failure messages.
inline std::string preview(std::string_view bytes, size_t max = 40) {
  std::string out;
  for (unsigned char c : bytes.substr(0, max)) {
    if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\x%02x", c);
      out += esc;
    }
  }
  if (bytes.size() > max) out += "...";
  return out;
}

}  // namespace vgx_test
