// A fresh temporary simulated machine per test, with the event log and the
// standard output captured.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/sim/machine.h"
#include "platform/winapi.h"

class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(sim::Boot("", &error)) << error;
    Capture();
  }
  // Sends the events and the standard output of the running machine to
  // m_Events and m_Out (a new boot forgets the sinks).
  void Capture() {
    sim::SetEventSink([this](const std::string& line) { m_Events += line + "\n"; });
    sim::SetStdoutSink([this](const char* text, std::size_t n) { m_Out.append(text, n); });
  }
  void TearDown() override { sim::Shutdown(); }

  // Opens a file with the given access and share mode (OPEN_ALWAYS).
  static plat::HANDLE Open(const char* path, plat::DWORD access, plat::DWORD share,
                           plat::DWORD disposition = plat::OPEN_ALWAYS) {
    return plat::CreateFileA(path, access, share, nullptr, disposition, plat::FILE_ATTRIBUTE_NORMAL,
                             nullptr);
  }

  std::string m_Events;
  std::string m_Out;
};
