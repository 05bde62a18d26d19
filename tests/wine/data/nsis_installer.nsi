; A small installer of the kind that carries Setup.dll: it unpacks the packed
; 32-bit library into its plug-ins directory, calls Action through the System
; plug-in (an ANSI string, "m"; the stdcall convention is the plug-in's
; default) and writes the number Action returned into RESULT.
; makensis -DSETUP_DLL=PATH -DCOMMAND="/install ..." -DRESULT=WINPATH -DOUTFILE=PATH
Unicode true
Name "Golden Nsis"
OutFile "${OUTFILE}"
RequestExecutionLevel admin
InstallDir "$TEMP\Golden Nsis"
ShowInstDetails nevershow

Section "Install"
  InitPluginsDir
  SetOutPath "$PLUGINSDIR"
  File "/oname=Setup.dll" "${SETUP_DLL}"
  ; "?u" unloads the library after the call, so that it removes the script it
  ; extracted before the installer goes on.
  System::Call '$PLUGINSDIR\Setup.dll::Action(m "${COMMAND}") i .r0 ?u'
  FileOpen $1 "${RESULT}" w
  FileWrite $1 "$0"
  FileClose $1
  SetOutPath "$TEMP"
SectionEnd
