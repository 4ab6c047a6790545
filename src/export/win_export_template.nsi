; The installer of a game exported for Windows, built with makensis. The editor writes these
; !define lines above this text before it runs makensis:
;   APP_NAME          the game's display name (NSIS string escapes applied)
;   APP_FILE          the game's file-safe name: install folder, Start menu folder
;   APP_EXE           the game's program inside APP_DIR, "<APP_FILE>.exe"
;   APP_VERSION       the version shown in "Apps and features"
;   APP_DIR           the staged game folder whose files are installed
;   APP_ICON          the application icon (.ico)
;   OUT_FILE          the installer to write
;   DESKTOP_SHORTCUT  defined when the installer makes a desktop shortcut
Unicode true
SetCompressor /SOLID lzma
RequestExecutionLevel user

Name "${APP_NAME}"
OutFile "${OUT_FILE}"
InstallDir "$LOCALAPPDATA\Programs\${APP_FILE}"
BrandingText "${APP_NAME} ${APP_VERSION}"

!include "MUI2.nsh"
!define MUI_ICON "${APP_ICON}"
!define MUI_UNICON "${APP_ICON}"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_RUN "$INSTDIR\${APP_EXE}"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${APP_FILE}"

Section "Install"
  SetOutPath "$INSTDIR"
  File /r "${APP_DIR}/*"
  File "/oname=app.ico" "${APP_ICON}"
  WriteUninstaller "$INSTDIR\Uninstall.exe"

  CreateDirectory "$SMPROGRAMS\${APP_FILE}"
  CreateShortcut "$SMPROGRAMS\${APP_FILE}\${APP_FILE}.lnk" "$INSTDIR\${APP_EXE}" "" "$INSTDIR\app.ico"
  CreateShortcut "$SMPROGRAMS\${APP_FILE}\Uninstall ${APP_FILE}.lnk" "$INSTDIR\Uninstall.exe"
!ifdef DESKTOP_SHORTCUT
  CreateShortcut "$DESKTOP\${APP_FILE}.lnk" "$INSTDIR\${APP_EXE}" "" "$INSTDIR\app.ico"
!endif

  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayName" "${APP_NAME}"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayVersion" "${APP_VERSION}"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\app.ico"
  WriteRegStr HKCU "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section "Uninstall"
!ifdef DESKTOP_SHORTCUT
  Delete "$DESKTOP\${APP_FILE}.lnk"
!endif
  RMDir /r "$SMPROGRAMS\${APP_FILE}"
  ; Only a folder that holds this game is removed, never a folder the user chose for other things.
  IfFileExists "$INSTDIR\${APP_EXE}" 0 +2
    RMDir /r "$INSTDIR"
  DeleteRegKey HKCU "${UNINSTALL_KEY}"
SectionEnd
