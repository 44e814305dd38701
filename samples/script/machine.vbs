' What GZSupport knows of this machine: versions, folders and identity; and its helpers for values.
'
' To run it, with ZSupport registered:   cscript //nologo machine.vbs
' (on a 64-bit Windows: %SystemRoot%\SysWOW64\cscript, because the library is 32-bit)
Option Explicit

Const CSIDL_FONTS = 20, CSIDL_PROGRAM_FILES = 38, CSIDL_APPDATA = 26, CSIDL_FLAG_CREATE = 32768

Dim support, version, folder, file, names, values, i
Set support = CreateObject("ZSupport.GZSupport")

WScript.Echo "user:      " & support.GetUserName & " at " & support.GetComputerName
' A version is a record, which scripts hand on as it is. Of the system, the first number is the minor
' version, and the last one the build.
version = support.VersionString(support.OSVersion(), False)
WScript.Echo "system:    " & version
WScript.Echo "candidate: " & support.VersionString(support.VersionStamp("2.5.0.7RC3"))
WScript.Echo "order:     " & support.CompareVersionStamps(support.VersionStamp("1.10.0"), support.VersionStamp("1.9.9"))

WScript.Echo "documents: " & support.GetMyDocumentsPath
WScript.Echo "user data: " & support.GetAppDataPath
WScript.Echo "all users: " & support.GetCommonAppDataPath
WScript.Echo "programs:  " & support.GetFolderPath(CSIDL_PROGRAM_FILES)
WScript.Echo "fonts:     " & support.GetFolderPath(CSIDL_FONTS)
' A folder below another, made on request.
WScript.Echo "own data:  " & support.GetFolderPath(CSIDL_APPDATA Or CSIDL_FLAG_CREATE, "ZSupport samples\machine")

' A new empty file; the folder comes back in the variable.
folder = ""
file = support.GetTempFileName2(folder, "zst")
WScript.Echo "temporary: " & folder & ", a file in it: " & (Left(file, Len(folder)) = folder)
CreateObject("Scripting.FileSystemObject").DeleteFile file
WScript.Echo "file name: " & support.MakeLegalPath("C:\notes: what? | why?.txt")

' Names and values that run in parallel, from one empty slot on.
names = Array("")
values = Array(Empty)
support.AddSVParameter names, values, "colour", "blue"
support.AddSVParameter names, values, "size", 12
For i = 0 To UBound(names)
    WScript.Echo "pair:      " & names(i) & " = " & values(i)
Next
WScript.Echo "joined:    " & support.JoinLongs(Array(1, -2, 30), "; ")
WScript.Echo "equal:     " & support.IsEqualVariant(1, "1") & ", " & support.IsEqualVariant(Null, Null)
WScript.Echo "half hours in a day: " & support.DateMultiple(1, TimeSerial(0, 30, 0))
WScript.Echo "done"
