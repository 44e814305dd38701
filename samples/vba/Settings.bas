Attribute VB_Name = "Settings"
' GZSupport from VBA, early bound: settings with a policy layer, versions as records, folders and
' temporary files, parallel arrays, features to come, and running objects.
'
' To run it: in a 32-bit Office application, tick "ZSupport shared support library" (Tools,
' References), import this file (File, Import File), run ShowAll, and see the Immediate window.
'
' Nearly all arguments are by reference. Constants and expressions fit everywhere; a variable has to
' be of the declared type, or VBA says "ByRef argument type mismatch": for a Variant in the place of
' a String, write CStr(it).
'
' A member that fails returns an empty result and puts a record into the library's log. It raises
' the error as well once a Zollection has raised one of its own on this thread.
Option Explicit

Private Const SECTION As String = "Software\Zarnow Instruments Ltd.\Samples\Settings VBA"

Public Sub ShowAll()
    ShowSettings
    ShowVersions
    ShowFolders
    ShowParameters
    ShowRunningObject
End Sub

' A setting is looked up in the administrator's policy, then with the user, then with the machine;
' last comes the default that the program gives. Policies exist for keys under the company root.
Public Sub ShowSettings()
    Dim support As ZSupport.GZSupport
    Dim noPolicy As Boolean
    Dim mode As ZSupport.RegWriteMode

    Set support = New ZSupport.GZSupport
    Debug.Print "colour:", support.GetRegistryValue("Colour", "red", SECTION, noPolicy)
    If Not noPolicy Then Debug.Print "", "as the administrator wants it: what is written has no effect"

    ' Stored for this user, because it differs from what the user would get without it.
    mode = rwm_User
    support.WriteRegistryValue "Colour", "blue", "red", mode, SECTION
    ' The section is remembered, for reading and for writing, so it can be left out from now on.
    Debug.Print "colour:", support.GetRegistryValue("Colour", "red")

    ' Whole numbers, truth values and single bytes are stored as numbers, texts and dates as texts.
    support.WriteRegistryValue "Size", 12&, 10&, mode
    Debug.Print "size:", CLng(support.GetRegistryValue("Size", 10&))

    ' Writing the default removes what is stored.
    support.WriteRegistryValue "Colour", "red", "red", mode
    support.WriteRegistryValue "Size", 10&, 10&, mode
    Debug.Print "colour:", support.GetRegistryValue("Colour", "red (default)")
End Sub

' Leaves it to the user whether a setting is for all users. The machine's hive wants an administrator.
Public Sub AskWhereToStore()
    Dim support As ZSupport.GZSupport
    Dim mode As ZSupport.RegWriteMode

    Set support = New ZSupport.GZSupport
    mode = rwm_Prompt
    support.WriteRegistryValue "Colour", "green", "red", mode, SECTION, "the colour green"
    Debug.Print "stored for " & IIf(mode = rwm_Machine, "all users", "this user")   ' mode came back

    support.WriteRegistryValue "Colour", "red", "red", mode
End Sub

Public Sub ShowVersions()
    Dim support As ZSupport.GZSupport
    Dim needed As ZSupport.VersionStamp
    Dim present As ZSupport.VersionStamp
    Dim system As ZSupport.VersionStamp

    Set support = New ZSupport.GZSupport
    needed = support.VersionStamp("1.2.0.5RC3")
    ' Of four numbers the third is passed over: the record holds 1, 2 and 5.
    Debug.Print "needed:", needed.Major; needed.Minor; needed.Revision

    Select Case needed.ReleaseType
        Case 0: Debug.Print "", "a release"
        Case 1: Debug.Print "", "an alpha"
        Case 2: Debug.Print "", "a beta"
        Case Else: Debug.Print "", "release candidate " & (needed.ReleaseType And 15)
    End Select

    ' A record can be filled in by hand as well.
    present.Major = 1
    present.Minor = 10
    Debug.Print "in full:", support.VersionString(present)
    Debug.Print "short:", support.VersionString(present, bFull:=False)
    Debug.Print "shorter:", support.VersionString(present, bHideRevision:=True)

    If support.CompareVersionStamps(present, needed) >= 0 Then Debug.Print "", "it will do"

    ' Of the system, Major is the minor version and Revision the build.
    system = support.OSVersion()
    Debug.Print "system:", "build " & system.Revision
End Sub

Public Sub ShowFolders()
    Dim support As ZSupport.GZSupport
    Dim folder As String
    Dim file As String

    Set support = New ZSupport.GZSupport
    Debug.Print "documents:", support.GetMyDocumentsPath()
    Debug.Print "all users:", support.GetCommonAppDataPath()
    Debug.Print "fonts:", support.GetFolderPath(CSIDL_FONTS)

    ' A path below a folder, with all that is missing of it made on request.
    folder = support.GetFolderPath(CSIDL_APPDATA Or CSIDL_FLAG_CREATE, "ZSupport samples\VBA")
    Debug.Print "own data:", folder
    If support.EnsureDirExists(folder & "\reports\" & Year(Date)) Then Debug.Print "", "with reports"

    ' A new empty file. An empty folder name comes back as the folder of temporary files.
    folder = vbNullString
    file = support.GetTempFileName2(folder, "zsv")
    If Len(file) > 0 Then
        Debug.Print "temporary:", file
        Kill file
    End If
    Debug.Print "file name:", support.MakeLegalPath("notes: what? | why?.txt")
End Sub

' Names and values in two arrays that run in parallel, as many query interfaces want them.
Public Sub ShowParameters()
    Dim support As ZSupport.GZSupport
    Dim names() As String
    Dim values() As Variant
    Dim i As Long

    ' Both start with one empty element, which the first pair fills.
    ReDim names(0)
    ReDim values(0)
    Set support = New ZSupport.GZSupport
    support.AddSVParameter names, values, "Colour", "blue"
    support.AddSVParameter names, values, "Size", 12
    support.AddSVParameter names, values, "Since", Date
    For i = 0 To UBound(names)
        Debug.Print names(i) & " = " & values(i)
    Next
End Sub

' For the menu item that comes before its feature. Shows a message, so it is not part of ShowAll.
Public Sub PrintReport()
    Dim support As ZSupport.GZSupport
    Dim message As String

    Set support = New ZSupport.GZSupport
    message = "Not implemented yet"
    support.NotImplemented "Report: print", message
    ' The whole of what was shown came back; it is on the clipboard, too, and in the log.
    Debug.Print message
End Sub

Public Sub ShowRunningObject()
    Dim support As ZSupport.GZSupport
    Dim word As Object

    Set support = New ZSupport.GZSupport
    ' Only one that runs. With bCreateIfNotRunning left at True, a new one is started otherwise; with
    ' bAllwaysUseROT:=True, that one is returned only when others can find it, too.
    Set word = support.GetROTObject("Word.Application", bCreateIfNotRunning:=False)
    If word Is Nothing Then
        Debug.Print "Word is not running"
    Else
        Debug.Print "Word runs, with " & word.Documents.Count & " documents open"
    End If
End Sub
