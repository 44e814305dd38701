' A program that lets its users write scripts: the script control, given a collection to work on.
' Here the program is a script itself.
'
' To run it, with ZSupport registered:   cscript //nologo control.vbs
' (32-bit: there is no other script control.)
Option Explicit

Dim fleet, control, name
Set fleet = CreateObject("ZSupport.Zollection")
Set control = CreateObject("MSScriptControl.ScriptControl")
control.Language = "VBScript"
' True: the members of the collection are words of the scripts.
control.AddObject "fleet", fleet, True

' Items are objects that fire events. Collections do so themselves.
For Each name In Array("anna", "berta", "clara")
    fleet.Add CreateObject("ZSupport.Zollection"), , name
Next

control.AddCode "Function Names(separator)" & vbLf & _
                "    Dim i" & vbLf & _
                "    For i = 1 To Count: Names = Names & Key(i) & separator: Next" & vbLf & _
                "End Function"
WScript.Echo "names: " & control.Run("Names", "; ")
WScript.Echo "count: " & control.Eval("fleet.Count")
control.ExecuteStatement "RemoveByKey ""berta"""
WScript.Echo "left: " & control.Run("Names", "; ")

' A script's error, with the number and the text of the collection's.
On Error Resume Next
control.ExecuteStatement "RemoveByIndex 9"
WScript.Echo "error " & (control.Error.Number And &HFFFF&) & ": " & control.Error.Description
WScript.Echo "done"
