; makensis -DVERSION=... -DSTAGE=FOLDER -DOUTPUT=FILE [-DBITS=32]: an installer of what lies in FOLDER.
; /S asks nothing, /D=FOLDER at the end says where to.
!ifdef BITS
  Unicode true
!else
  Target amd64-unicode
!endif
!include MUI2.nsh
!include x64.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\NvImport"

Name "NvImport ${VERSION}"
OutFile "${OUTPUT}"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
ManifestSupportedOS all

!insertmacro MUI_PAGE_LICENSE "${STAGE}/LICENSE.txt"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!macro RegistryOfOwnBits
!ifndef BITS
  SetRegView 64
!endif
!macroend

Function .onInit
  !insertmacro RegistryOfOwnBits
!ifdef BITS
  StrCmp $INSTDIR "" 0 +2
    StrCpy $INSTDIR "$PROGRAMFILES32\NvImport"
!else
  ${IfNot} ${RunningX64}
    MessageBox MB_ICONSTOP "This NvImport is for Windows of 64 bits." /SD IDOK
    Abort
  ${EndIf}
  StrCmp $INSTDIR "" 0 +2
    StrCpy $INSTDIR "$PROGRAMFILES64\NvImport"
!endif
FunctionEnd

Function un.onInit
  !insertmacro RegistryOfOwnBits
FunctionEnd

Section
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  File /r "${STAGE}/*"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  nsExec::Exec '"$INSTDIR\bin\nvimport-path-entry.exe" add "$INSTDIR\bin"'
  Pop $0
  StrCmp $0 0 +2
    DetailPrint "The folder of the command could not be put on the PATH."
  WriteRegStr HKLM "${KEY}" "DisplayName" "NvImport"
  WriteRegStr HKLM "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${KEY}" "Publisher" "The NvImport developers"
  WriteRegStr HKLM "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${KEY}" "NoRepair" 1
SectionEnd

; Takes away what was put there, file by file: the folder may hold what is the user's.
Section Uninstall
  SetShellVarContext all
  nsExec::Exec '"$INSTDIR\bin\nvimport-path-entry.exe" remove "$INSTDIR\bin"'
  Pop $0
  !include "${REMOVALS}"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${KEY}"
SectionEnd
