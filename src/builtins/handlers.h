// The handlers behind the rows of the built-in table. A handler reads its
// arguments from the value stack, reports a missing one with its message and
// answers 0, or calls its operation (operations.h) and answers its result.
#pragma once

#include <cstdint>

namespace setup {

struct SyntaxNode;

// ---- System environment (env.cpp) ------------------------------------------------------
std::int32_t HandleCheckIsNeedReboot(SyntaxNode* node);
std::int32_t HandleGetWinVersion(SyntaxNode* node);
std::int32_t HandleGetLanguage(SyntaxNode* node);
std::int32_t HandleMsgBox(SyntaxNode* node);
std::int32_t HandleSleep(SyntaxNode* node);
std::int32_t HandleExecute(SyntaxNode* node);
std::int32_t HandleReboot(SyntaxNode* node);

// ---- Strings and numbers (strings.cpp) -------------------------------------------------
std::int32_t HandleGetLen(SyntaxNode* node);
std::int32_t HandleStringToNum(SyntaxNode* node);
std::int32_t HandleNumToString(SyntaxNode* node);
std::int32_t HandleGetAt(SyntaxNode* node);
std::int32_t HandleGetStr(SyntaxNode* node);

// ---- Registry (registry.cpp) -------------------------------------------------------------
std::int32_t HandleCheckRegStatus(SyntaxNode* node);
std::int32_t HandleAddSubReg(SyntaxNode* node);
std::int32_t HandleAddRegValues(SyntaxNode* node);
std::int32_t HandleAddRegValued(SyntaxNode* node);
std::int32_t HandleGetRegValued(SyntaxNode* node);
std::int32_t HandleGetRegValues(SyntaxNode* node);
std::int32_t HandleEnumSubReg(SyntaxNode* node);
std::int32_t HandleDeleteReg(SyntaxNode* node);
std::int32_t HandleDeleteRegX(SyntaxNode* node);
std::int32_t HandleDeleteRegByFindStr(SyntaxNode* node);

// ---- Files and directories (files.cpp) ---------------------------------------------------
std::int32_t HandleCopyFile(SyntaxNode* node);
std::int32_t HandleDeleteFile(SyntaxNode* node);
std::int32_t HandleDeleteFileX(SyntaxNode* node);
std::int32_t HandleExtractResFile(SyntaxNode* node);
std::int32_t HandleCreateDirectory(SyntaxNode* node);
std::int32_t HandleDeleteDirectory(SyntaxNode* node);

// ---- Services (services.cpp) ---------------------------------------------------------------
std::int32_t HandleCreateService(SyntaxNode* node);
std::int32_t HandleStartService(SyntaxNode* node);
std::int32_t HandleStopService(SyntaxNode* node);

// ---- Devices (devices.cpp) -------------------------------------------------------------------
std::int32_t HandleInstallDriverByHardwareId(SyntaxNode* node);
std::int32_t HandleInstallUsbDriver(SyntaxNode* node);
std::int32_t HandleDeleteService(SyntaxNode* node);
std::int32_t HandleUpdateDeviceByHardwareId(SyntaxNode* node);
std::int32_t HandleDeleteDriverByHardwareId(SyntaxNode* node);
std::int32_t HandleCheckDeviceStatus(SyntaxNode* node);
std::int32_t HandleUpdateDeviceList(SyntaxNode* node);
std::int32_t HandleDisableDriverByHardwareId(SyntaxNode* node);
std::int32_t HandleEnableDriverByHardwareId(SyntaxNode* node);

// Reports the missing-argument message of most handlers ("Parameters is
// NULL") and answers 0, the handler's result.
std::int32_t MissingArgument();

}  // namespace setup
