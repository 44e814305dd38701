' A keyed collection from VBScript.
'
' To run it, with ZSupport registered:   cscript //nologo collection.vbs
' (on a 64-bit Windows: %SystemRoot%\SysWOW64\cscript, because the library is 32-bit)
'
' Items of a Zollection are objects that fire events. Zollections do so themselves, so this script
' needs no other objects: it puts three small collections into a big one.
Option Explicit

Dim fleet, ship, name
Set fleet = CreateObject("ZSupport.Zollection")

' 1: keys are compared without regard to upper and lower case. Only possible while it is empty.
fleet.CompareMode = 1

For Each name In Array("Anna", "Berta", "Clara")
    Set ship = CreateObject("ZSupport.Zollection")
    ' item, source interface ("" means the item's own), key
    fleet.Add ship, "", name
Next

' Before and After take a position or a key. A fourth argument is Before, a fifth After.
fleet.Add CreateObject("ZSupport.Zollection"), "", "Dora", "Berta"

WScript.Echo "ships: " & fleet.Count
Dim i
For i = 1 To fleet.Count
    WScript.Echo "  " & i & " " & fleet.Key(i)      ' text mode keeps keys in lower case
Next

' The default member finds items by key and by position.
WScript.Echo "DORA is at " & fleet.IndexFromKey("DORA")
WScript.Echo "same object: " & (fleet("dora") Is fleet(2))

' For Each visits the items in order.
Dim visited
For Each ship In fleet
    visited = visited + 1
Next
WScript.Echo "visited: " & visited

' Errors have a number, a source that says where they come from, and a description.
On Error Resume Next
fleet.RemoveByIndex 9
WScript.Echo "error " & Err.Number & " from " & Err.Source & ": " & Err.Description
On Error GoTo 0

fleet.Remove "anna"
fleet.Remove 1
WScript.Echo "left: " & fleet.Key(1) & ", " & fleet.Key(2)
fleet.Clear
WScript.Echo "empty: " & (fleet.Count = 0)
WScript.Echo "done"
