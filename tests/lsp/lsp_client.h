// Drives a setup-lsp process over pipes, as an editor does.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace lsptest {

using nlohmann::json;

class LspProcess {
 public:
  explicit LspProcess(const std::string& program) {
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) throw std::runtime_error("pipe");
    m_nPid = fork();
    if (m_nPid == 0) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      close(in[0]), close(in[1]), close(out[0]), close(out[1]);
      execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    m_nIn = in[1];
    m_nOut = out[0];
    signal(SIGPIPE, SIG_IGN);
  }
  ~LspProcess() {
    // The end of its input ends the server, which then cleans up after itself.
    CloseInput();
    if (m_nOut >= 0) close(m_nOut);
    if (m_nPid > 0 && !m_bReaped && Wait(10000) < 0) {
      kill(m_nPid, SIGKILL);
      waitpid(m_nPid, nullptr, 0);
    }
  }
  LspProcess(const LspProcess&) = delete;
  LspProcess& operator=(const LspProcess&) = delete;

  void SendRaw(const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = write(m_nIn, bytes.data() + done, bytes.size() - done);
      if (n <= 0) throw std::runtime_error("the server stopped reading");
      done += static_cast<std::size_t>(n);
    }
  }
  void Send(const json& message) {
    const std::string body = message.dump();
    SendRaw("Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  void Request(int id, const std::string& method, json params) {
    Send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}});
  }
  void Notify(const std::string& method, json params) {
    Send({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
  }
  void CloseInput() {
    if (m_nIn >= 0) close(m_nIn);
    m_nIn = -1;
  }

  // The next message, or none when nothing arrives in time or the output ends.
  std::optional<json> Receive(int timeoutMs = 20000) {
    for (;;) {
      const std::size_t headerEnd = m_Buffer.find("\r\n\r\n");
      if (headerEnd != std::string::npos) {
        const std::size_t at = m_Buffer.find("Content-Length: ");
        const std::size_t length = std::stoul(m_Buffer.substr(at + 16, headerEnd - at - 16));
        if (m_Buffer.size() >= headerEnd + 4 + length) {
          json message = json::parse(m_Buffer.substr(headerEnd + 4, length));
          m_Buffer.erase(0, headerEnd + 4 + length);
          return message;
        }
      }
      pollfd p{m_nOut, POLLIN, 0};
      if (poll(&p, 1, timeoutMs) <= 0) return std::nullopt;
      char block[65536];
      const ssize_t n = read(m_nOut, block, sizeof block);
      if (n <= 0) return std::nullopt;
      m_Buffer.append(block, static_cast<std::size_t>(n));
    }
  }
  // The response to request `id` (notifications before it are dropped).
  json Response(int id) {
    while (std::optional<json> message = Receive()) {
      if (message->contains("id") && (*message)["id"] == id) return *message;
    }
    throw std::runtime_error("no response to request " + std::to_string(id));
  }
  // The next diagnostics published for `uri`.
  json Diagnostics(const std::string& uri) {
    while (std::optional<json> message = Receive()) {
      if (message->value("method", "") == "textDocument/publishDiagnostics" &&
          (*message)["params"]["uri"] == uri) {
        return (*message)["params"]["diagnostics"];
      }
    }
    throw std::runtime_error("no diagnostics for " + uri);
  }
  // Waits for the process to end; its exit status, or -1 when it did not end in time.
  int Wait(int timeoutMs = 20000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (std::chrono::steady_clock::now() < end) {
      int status = 0;
      if (waitpid(m_nPid, &status, WNOHANG) == m_nPid) {
        m_bReaped = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      }
      usleep(10000);
    }
    return -1;
  }

 private:
  pid_t m_nPid = -1;
  int m_nIn = -1;
  int m_nOut = -1;
  bool m_bReaped = false;
  std::string m_Buffer;
};

}  // namespace lsptest
