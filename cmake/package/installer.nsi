; The installer for the current user. package.py calls it with VERSION, STEPS (the macros that name each file), ICON and
; OUTPUT.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel user
ManifestDPIAware true

!include MUI2.nsh
!include LogicLib.nsh
!include "${STEPS}"

!define TITLE "联机大厅"
!define PROGRAM "bin\netplay-lobby.exe"
!define REGISTRY "Software\Microsoft\Windows\CurrentVersion\Uninstall\netplay-lobby"

Name "${TITLE}"
OutFile "${OUTPUT}"
BrandingText "${TITLE} ${VERSION}"
; Browsing keeps the last part: the player chooses the folder around the game and gets netplay-lobby beside it.
InstallDir "$LOCALAPPDATA\Programs\netplay-lobby"
InstallDirRegKey HKCU "${REGISTRY}" "InstallLocation"

VIProductVersion "${VERSION}.0"
VIFileVersion "${VERSION}.0"
VIAddVersionKey /LANG=2052 "ProductName" "${TITLE}"
VIAddVersionKey /LANG=2052 "ProductVersion" "${VERSION}"
VIAddVersionKey /LANG=2052 "FileDescription" "${TITLE}安装程序"
VIAddVersionKey /LANG=2052 "FileVersion" "${VERSION}"
VIAddVersionKey /LANG=2052 "LegalCopyright" ""

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_ABORTWARNING
!define MUI_DIRECTORYPAGE_TEXT_TOP "请点“浏览”，选择游戏文件夹（game 或 gametest）的上一级：本程序要和游戏文件夹并排。安装不需要管理员权限。"
!define MUI_PAGE_CUSTOMFUNCTION_LEAVE warnWithoutGame
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_INSTFILES
!define MUI_FINISHPAGE_RUN "$INSTDIR\${PROGRAM}"
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "SimpChinese"

Function warnWithoutGame
  ReadEnvStr $0 TALVERON_DATA_ROOT
  ${IfNot} ${FileExists} "$INSTDIR\..\gametest\core\game.exe"
  ${AndIfNot} ${FileExists} "$INSTDIR\..\game\core\game.exe"
  ${AndIfNot} ${FileExists} "$0\core\game.exe"
    MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "在“$INSTDIR”旁边没有找到游戏（game\core\game.exe）。仍然安装到这里吗？" IDYES +2
    Abort
  ${EndIf}
FunctionEnd

; A running program's file cannot be opened for writing.
!macro RefuseWhileRunning
  ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
    ${Do}
      ClearErrors
      FileOpen $0 "$INSTDIR\${PROGRAM}" a
      ${IfNot} ${Errors}
        FileClose $0
        ${Break}
      ${EndIf}
      MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "请先关闭${TITLE}。" /SD IDCANCEL IDRETRY +3
      SetErrorLevel 1
      Quit
    ${Loop}
  ${EndIf}
!macroend

Section "${TITLE}"
  SectionIn RO
  !insertmacro RefuseWhileRunning
  ; An older version's uninstaller knows which of its files are needed no more.
  ${If} ${FileExists} "$INSTDIR\uninstall.exe"
    ExecWait '"$INSTDIR\uninstall.exe" /S _?=$INSTDIR'
  ${EndIf}
  !insertmacro InstallFiles
  SetOutPath "$INSTDIR\bin"
  CreateShortcut "$SMPROGRAMS\${TITLE}.lnk" "$INSTDIR\${PROGRAM}"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${REGISTRY}" "DisplayName" "${TITLE}"
  WriteRegStr HKCU "${REGISTRY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${REGISTRY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
  WriteRegStr HKCU "${REGISTRY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${REGISTRY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${REGISTRY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${REGISTRY}" "NoModify" 1
  WriteRegDWORD HKCU "${REGISTRY}" "NoRepair" 1
SectionEnd

Section "桌面快捷方式"
  SetOutPath "$INSTDIR\bin"
  CreateShortcut "$DESKTOP\${TITLE}.lnk" "$INSTDIR\${PROGRAM}"
SectionEnd

; Takes away what was installed; what the player or the program wrote stays, and so do the folders that hold it.
Section "Uninstall"
  !insertmacro RefuseWhileRunning
  SetOutPath "$TEMP"
  !insertmacro RemoveFiles
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  Delete "$SMPROGRAMS\${TITLE}.lnk"
  Delete "$DESKTOP\${TITLE}.lnk"
  DeleteRegKey HKCU "${REGISTRY}"
SectionEnd
