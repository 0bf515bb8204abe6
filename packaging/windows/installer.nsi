; The installer, made by scripts/package --windows:
;   makensis -DTREE=<folder with what is installed> -DVERSION=x.y.z -DICON=<file> -DOUT=<file> installer.nsi
; It installs for the user who starts it and asks for no other rights.

; Of 64 bits as the program is.
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel user
ManifestDPIAware true
!include MUI2.nsh
!include FileFunc.nsh

!define NAME "Tarnwick Mod Uploader"
!define PROGRAM "tarnwick-mod-uploader.exe"
!define LIBRARY "steam_api64.dll"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\tarnwick-mod-uploader"

Name "${NAME}"
OutFile "${OUT}"
InstallDir "$LOCALAPPDATA\Programs\${NAME}"
InstallDirRegKey HKCU "${UNINSTALL_KEY}" "InstallLocation"
VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "${NAME} installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "MIT licence"

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_FINISHPAGE_SHOWREADME "$INSTDIR\STEAM-LIBRARY.txt"
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Show where to put the game's Steam library"
!define MUI_FINISHPAGE_NOAUTOCLOSE
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; A program that runs keeps its file from being replaced or removed.
!macro LeaveIfRunning
    ClearErrors
    ${If} ${FileExists} "$INSTDIR\${PROGRAM}"
        Delete "$INSTDIR\${PROGRAM}"
    ${EndIf}
    ${If} ${Errors}
        MessageBox MB_OK|MB_ICONSTOP "${NAME} is running. Close it, then start this again." /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
!macroend

Section "install"
    SetShellVarContext current
    !insertmacro LeaveIfRunning
    SetOutPath "$INSTDIR"
    File /r "${TREE}\*"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    CreateShortcut "$SMPROGRAMS\${NAME}.lnk" "$INSTDIR\${PROGRAM}"

    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${PROGRAM}"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
    WriteRegStr HKCU "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
    ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
    IntFmt $0 "0x%08X" $0
    WriteRegDWORD HKCU "${UNINSTALL_KEY}" "EstimatedSize" "$0"
SectionEnd

Section "un.install"
    SetShellVarContext current
    !insertmacro LeaveIfRunning
    ; Only what was installed: the folder may be one that holds other things.
    !include "${TREE}.removals.nsh"
    Delete "$INSTDIR\uninstall.exe"
    Delete "$SMPROGRAMS\${NAME}.lnk"
    DeleteRegKey HKCU "${UNINSTALL_KEY}"

    ; The player has put it there, from the game. /LIBRARY removes it unasked, /S without that keeps it.
    ${If} ${FileExists} "$INSTDIR\${LIBRARY}"
        ${GetParameters} $0
        ClearErrors
        ${GetOptions} $0 "/LIBRARY" $1
        ${If} ${Errors}
            MessageBox MB_YESNO "Keep ${LIBRARY}, your copy of the game's Steam library, for a later installation?" \
                /SD IDYES IDYES keep
        ${EndIf}
        Delete "$INSTDIR\${LIBRARY}"
        keep:
    ${EndIf}
    RMDir "$INSTDIR"
SectionEnd
