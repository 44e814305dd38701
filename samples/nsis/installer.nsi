; Installs the library for all users of a machine, and removes it: for installers of your own that
; do not use the MSI. RegDLL and UnRegDLL load the library into the installer's own process.
;
; To make it:  makensis -DLIBRARY=ZSupport.dll -DINSTALLER=install.exe installer.nsi
Unicode true
Name "ZSupport"
OutFile "${INSTALLER}"
InstallDir "$PROGRAMFILES32\ZSupport"
RequestExecutionLevel admin

Section
  SetOutPath $INSTDIR
  File "/oname=ZSupport.dll" "${LIBRARY}"
  RegDLL "$INSTDIR\ZSupport.dll"
  IfErrors 0 +2
  Abort "ZSupport.dll could not be registered."
  WriteUninstaller "$INSTDIR\uninstall.exe"
SectionEnd

Section Uninstall
  UnRegDLL "$INSTDIR\ZSupport.dll"
  Delete "$INSTDIR\ZSupport.dll"
  Delete "$INSTDIR\uninstall.exe"
  RMDir $INSTDIR
SectionEnd
