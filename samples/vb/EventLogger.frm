VERSION 5.00
Begin VB.Form EventLogger 
   Caption         =   "Event logger"
   ClientHeight    =   5400
   ClientLeft      =   60
   ClientTop       =   345
   ClientWidth     =   7200
   LinkTopic       =   "EventLogger"
   ScaleHeight     =   5400
   ScaleWidth      =   7200
   StartUpPosition =   3  'Windows Default
   Begin VB.ListBox lstLog 
      Height          =   3180
      Left            =   120
      TabIndex        =   8
      Top             =   2040
      Width           =   6960
   End
   Begin VB.CommandButton cmdClear 
      Caption         =   "C&lear the log"
      Height          =   375
      Left            =   5280
      TabIndex        =   7
      Top             =   1440
      Width           =   1800
   End
   Begin VB.CheckBox chkMouseMove 
      Caption         =   "Log &MouseMove, too"
      Height          =   255
      Left            =   2880
      TabIndex        =   6
      Top             =   1500
      Width           =   2280
   End
   Begin VB.Timer tmrTick 
      Interval        =   10000
      Left            =   6480
      Top             =   720
   End
   Begin VB.HScrollBar hsbAmount 
      Height          =   255
      LargeChange     =   10
      Left            =   2880
      Max             =   100
      TabIndex        =   5
      Top             =   960
      Width           =   3360
   End
   Begin VB.ComboBox cboTown 
      Height          =   315
      Left            =   2880
      TabIndex        =   4
      Text            =   "Vienna"
      Top             =   240
      Width           =   3360
   End
   Begin VB.Frame fraKind 
      Caption         =   "Kind"
      Height          =   1095
      Left            =   120
      TabIndex        =   1
      Top             =   720
      Width           =   2400
      Begin VB.OptionButton optSmall 
         Caption         =   "&Small"
         Height          =   255
         Left            =   120
         TabIndex        =   2
         Top             =   360
         Width           =   2160
      End
      Begin VB.OptionButton optLarge 
         Caption         =   "&Large"
         Height          =   255
         Left            =   120
         TabIndex        =   3
         Top             =   720
         Width           =   2160
      End
   End
   Begin VB.TextBox txtName 
      Height          =   315
      Left            =   120
      TabIndex        =   0
      Text            =   "Type here"
      Top             =   240
      Width           =   2400
   End
   Begin VB.Line linUnder 
      X1              =   120
      X2              =   7080
      Y1              =   1935
      Y2              =   1935
   End
End
Attribute VB_Name = "EventLogger"
Attribute VB_GlobalNameSpace = False
Attribute VB_Creatable = False
Attribute VB_PredeclaredId = True
Attribute VB_Exposed = False
' Logs every event of every control on a form through one handler. Put more controls on it, of any
' kind: they are logged without a line of code.
'
' To run it, with ZSupport registered: open EventLogger.vbp, which references "ZSupport shared support
' library", and start it.
Option Explicit

Private Const NO_EVENTS As String = "{00000000-0000-0000-0000-000000000000}"
Private Const MOST_LINES As Long = 1000

Private WithEvents watched As ZSupport.Zollection

Private Sub Form_Load()
    Dim item As Object

    cboTown.AddItem "Vienna"
    cboTown.AddItem "Graz"
    cboTown.AddItem "Linz"

    Set watched = New ZSupport.Zollection
    For Each item In Me.Controls
        ' All but the log, whose every new line would be an event of its own.
        If Not item Is lstLog Then Watch item
    Next
    WriteLine watched.Count & " controls are watched"
End Sub

' An object without any events, such as the line on this form, makes Add fail with error 7.
Private Sub Watch(ByVal item As Object)
    On Error GoTo Failed
    watched.Add item, Key:=item.Name
    Exit Sub
Failed:
    WriteLine item.Name & " is not watched: " & Err.Number & ", " & Err.Description
End Sub

Private Sub watched_EventRaised(ByVal Index As Long, ByVal Source As Object, _
                                ByVal RaisedEvent As Variant, aParams() As Variant)
    Dim key As String
    Dim arguments As String
    Dim i As Long

    If RaisedEvent = "MouseMove" And chkMouseMove.Value = vbUnchecked Then Exit Sub

    ' -1: the control is just going into the collection or out of it.
    If Index > 0 Then key = watched.Key(Index) Else key = TypeName(Source)

    ' The arguments, from 0 on, in the order of their declaration; UBound is -1 when there are none.
    For i = 0 To UBound(aParams)
        If i > 0 Then arguments = arguments & ", "
        arguments = arguments & AsText(aParams(i))
    Next
    WriteLine key & "." & RaisedEvent & "(" & arguments & ")"

    ' What is put into aParams goes back into arguments by reference. The name takes no digits:
    If key = "txtName" And RaisedEvent = "KeyPress" Then
        If aParams(0) >= vbKey0 And aParams(0) <= vbKey9 Then aParams(0) = 0
    End If

    ' One handler for all does not keep single ones from having more to do.
    If Source Is cmdClear And RaisedEvent = "Click" Then lstLog.Clear
End Sub

' Raised from within Add. The answer lets the control in without its events; left alone, Add would
' fail with Reason as its error.
Private Sub watched_ConnectionFailed(ByVal Source As Object, SourceIID As String, _
                                     ByVal Reason As ZSupport.wecErrors)
    WriteLine TypeName(Source) & " cannot be heard: &H" & Hex$(Reason)
    SourceIID = NO_EVENTS
End Sub

Private Function AsText(ByRef value As Variant) As String
    If IsObject(value) Then
        AsText = TypeName(value)
    ElseIf IsArray(value) Or IsNull(value) Or IsEmpty(value) Or IsError(value) Then
        AsText = TypeName(value)
    ElseIf VarType(value) = vbString Then
        AsText = """" & value & """"
    Else
        AsText = CStr(value)
    End If
End Function

Private Sub WriteLine(ByVal text As String)
    If lstLog.ListCount >= MOST_LINES Then lstLog.RemoveItem 0
    lstLog.AddItem text
    lstLog.TopIndex = lstLog.NewIndex
End Sub

Private Sub Form_Resize()
    Const MARGIN As Single = 120
    If WindowState = vbMinimized Then Exit Sub
    If ScaleWidth < 3 * MARGIN Or ScaleHeight < lstLog.Top + 3 * MARGIN Then Exit Sub
    lstLog.Move MARGIN, lstLog.Top, ScaleWidth - 2 * MARGIN, ScaleHeight - lstLog.Top - MARGIN
    linUnder.X2 = ScaleWidth - MARGIN
End Sub

' The collection holds on to the controls: it lets them go before the form does.
Private Sub Form_Unload(Cancel As Integer)
    watched.Clear
    Set watched = Nothing
End Sub
