// The fixture of every library test: a fresh temporary simulated machine
// (SimTest) and a clean global state before and after each test, with the
// standard output and the event log captured.
#pragma once

#include <cstring>

#include "base/global.h"
#include "script/store/symbols.h"
#include "sim_fixture.h"

class LibraryTest : public SimTest {
 protected:
  void SetUp() override {
    SimTest::SetUp();
    setup::ResetRun();
  }
  // Releases before the machine stops: closing the source file and the tables
  // still talks to the machine.
  void TearDown() override {
    setup::ResetRun();
    setup::theGlobal.m_hModule = nullptr;
    std::memset(setup::theGlobal.m_szFileName, 0, sizeof setup::theGlobal.m_szFileName);
    sim::SetStdoutSink({});
    sim::SetEventSink({});
    SimTest::TearDown();
  }
};
