Attribute VB_Name = "TextBoxWatcherDemo"
' Shows TextBoxWatcher at work on a UserForm, and what the same takes without the library.
'
' To run it: import this file and TextBoxWatcher.cls into a project that references "ZSupport
' shared support library"; insert a UserForm, name it AddressForm, and put this into it, so that closing
' hides it and the texts can still be read:
'
'     Private Sub UserForm_QueryClose(Cancel As Integer, CloseMode As Integer)
'         If CloseMode = vbFormControlMenu Then
'             Cancel = True
'             Me.Hide
'         End If
'     End Sub
'
' Then run EditAddress, type, close the form, and see the Immediate window. The form may have text
' boxes of its own: they are watched, too.
Option Explicit

Public Sub EditAddress()
    Dim form As Object
    Dim watcher As TextBoxWatcher
    Dim name As Variant

    Set form = VBA.UserForms.Add("AddressForm")
    PutBoxes form, Array("FirstName", "LastName", "Street", "Town", "Country")
    form.Controls("Country").Text = "Austria"           ' not watched yet: no change

    Set watcher = New TextBoxWatcher
    watcher.WatchForm form
    Debug.Print watcher.Count & " boxes are watched"
    If Len(watcher.FailureText) > 0 Then Debug.Print "not heard:" & vbNewLine & watcher.FailureText

    watcher.Box("Town").Text = "Vienna"                 ' fires Change like typing
    form.Show

    For Each name In watcher.ChangedNames
        Debug.Print name & " is now """ & watcher.NewText(name) & """"
    Next
    watcher.StopWatching
    Unload form
End Sub

' Text boxes from top to bottom, made at run time: no handler could have been written for them.
Private Sub PutBoxes(ByVal form As Object, ByVal names As Variant)
    Dim i As Long
    Dim control As MSForms.Control
    For i = LBound(names) To UBound(names)
        Set control = form.Controls.Add("Forms.TextBox.1", names(i))
        control.Left = 12
        control.Top = 6 + 24 * (i - LBound(names))
        control.Width = 150
    Next
End Sub

' Without the library, a WithEvents variable hears one object, and there are no arrays of them. So
' each box needs an object of a class of its own, here BoxListener:
'
'     Public WithEvents Box As MSForms.TextBox
'     Public Name As String
'     Public Owner As FormListener
'
'     Private Sub Box_Change()
'         Owner.BoxChanged Name, Box
'     End Sub
'
'     Private Sub Box_KeyPress(ByVal KeyAscii As MSForms.ReturnInteger)
'         Owner.BoxKeyPress Name, Box, KeyAscii
'     End Sub
'
'     ' ... and so on, a procedure for each event of a text box
'
' and a second class, FormListener, that keeps them alive and gathers what they pass on:
'
'     Private listeners As New Collection
'
'     Public Sub WatchForm(ByVal form As Object)
'         Dim control As MSForms.Control, listener As BoxListener
'         For Each control In form.Controls
'             If TypeOf control Is MSForms.TextBox Then
'                 Set listener = New BoxListener
'                 Set listener.Box = control
'                 listener.Name = control.Name
'                 Set listener.Owner = Me     ' a circle, to be broken before the form goes
'                 listeners.Add listener, control.Name
'             End If
'         Next
'     End Sub
'
'     Public Sub BoxChanged(ByVal Name As String, ByVal Box As MSForms.TextBox)
'     ...
'
' Combo boxes and buttons then need a listener class each. In a Zollection they are further items.
