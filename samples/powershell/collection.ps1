# A keyed collection from Windows PowerShell, and its events.
#
# To run it, with ZSupport registered, in 32-bit Windows PowerShell, because the library is 32-bit:
#   %SystemRoot%\SysWOW64\WindowsPowerShell\v1.0\powershell.exe -ExecutionPolicy Bypass -File collection.ps1
#
# Items of a Zollection are objects that fire events. Zollections do so themselves, so this script
# needs no other objects: it puts three small collections into a big one.
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'

$fleet = New-Object -ComObject ZSupport.Zollection

# 1: keys are compared without regard to upper and lower case. Only possible while it is empty.
$fleet.CompareMode = 1

foreach ($name in 'Anna', 'Berta', 'Clara') {
    $ship = New-Object -ComObject ZSupport.Zollection
    # item, source interface ('' means the item's own), key
    $fleet.Add($ship, '', $name)
}

# Before and After take a position or a key. A fourth argument is Before, a fifth After.
$ship = New-Object -ComObject ZSupport.Zollection
$fleet.Add($ship, '', 'Dora', 'Berta')

"ships: $($fleet.Count)"
for ($i = 1; $i -le $fleet.Count; $i++) {
    "  $i $($fleet.Key($i))"                    # text mode keeps keys in lower case
}

# Item, the default member elsewhere, has to be named. Objects are compared by ReferenceEquals:
# with a collection on its left, -eq would look among the items.
"DORA is at $($fleet.IndexFromKey('DORA'))"
"same object: $([object]::ReferenceEquals($fleet.Item('dora'), $fleet.Item(2)))"
"Emma is there: $($fleet.KeyExists('Emma'))"

# foreach visits the items in order. A pipeline takes a collection apart in the same way: a function
# that is to return the collection itself ends in ",$fleet".
$visited = 0
foreach ($ship in $fleet) { $visited++ }
"visited: $visited"

# Errors arrive as exceptions, with the number in the lower half of HResult.
function Show-Failure([scriptblock] $action) {
    try {
        & $action
    } catch {
        $failure = $_.Exception.GetBaseException()
        "error $($failure.HResult -band 0xFFFF) from $($failure.Source): $($failure.Message)"
    }
}
Show-Failure { $fleet.RemoveByIndex(9) }
Show-Failure { $fleet.Add((New-Object -ComObject ZSupport.Zollection), '', 'ANNA') }

# Events. Register-ObjectEvent finds none on an object that is called late bound, and its actions
# would run too late to answer. A listener that .NET knows the interface of hears them: this one
# passes them on to script blocks, at once and on the same thread.
Add-Type -TypeDefinition @'
using System;
using System.Runtime.InteropServices;
using System.Runtime.InteropServices.ComTypes;

[ComVisible(true), Guid("D20D3439-64D3-4496-9B55-C79C5992CEF9")]
[InterfaceType(ComInterfaceType.InterfaceIsIDispatch)]
public interface IZollectionEvents
{
    [DispId(1)]
    void EventRaised(int index, [MarshalAs(UnmanagedType.IDispatch)] object source,
        object raisedEvent,
        [MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_VARIANT)]
        ref object[] arguments);
    [DispId(2)]
    void ConnectionFailed([MarshalAs(UnmanagedType.IDispatch)] object source,
        [MarshalAs(UnmanagedType.BStr)] ref string sourceIID, int reason);
}

[ComVisible(true), ClassInterface(ClassInterfaceType.None)]
public class ZollectionListener : IZollectionEvents
{
    // Index, source, event and arguments; what the script block puts into the arguments goes back.
    public Action<int, object, object, object[]> OnEvent;
    // Source, interface and reason; the result is the answer, null or an empty text for none.
    public Func<object, string, int, string> OnFailure;

    private readonly IConnectionPoint point;
    private readonly int cookie;

    public ZollectionListener(object zollection)
    {
        Guid events = typeof(IZollectionEvents).GUID;
        ((IConnectionPointContainer)zollection).FindConnectionPoint(ref events, out point);
        point.Advise(this, out cookie);
    }

    public void Stop()
    {
        point.Unadvise(cookie);
    }

    void IZollectionEvents.EventRaised(int index, object source, object raisedEvent,
        ref object[] arguments)
    {
        if (OnEvent != null) OnEvent(index, source, raisedEvent, arguments);
    }

    void IZollectionEvents.ConnectionFailed(object source, ref string sourceIID, int reason)
    {
        if (OnFailure == null) return;
        string answer = OnFailure(source, sourceIID, reason);
        if (!String.IsNullOrEmpty(answer)) sourceIID = answer;
    }
}
'@

# One listener hears all ships. A ship fires ConnectionFailed when something goes in that does not
# fire the events that are asked for; its second argument, by reference, takes an answer. This one
# means: in with it, but unheard.
$noEvents = '{00000000-0000-0000-0000-000000000000}'
$listener = [ZollectionListener]::new($fleet)
$listener.OnEvent = {
    param($index, $source, $raisedEvent, $arguments)
    Write-Host "event of $($fleet.Key($index)): $raisedEvent, reason $($arguments[2])"
    $arguments[1] = $noEvents
}
$berta = $fleet.Item('berta')
$berta.Add((New-Object -ComObject ZSupport.Zollection), '{00000000-0000-0000-C000-000000000046}', 'boat')
"boats: $($berta.Count)"
$listener.Stop()

$fleet.Remove('anna')
$fleet.Remove(1)
"left: $($fleet.Key(1)), $($fleet.Key(2))"
$fleet.Clear()
"empty: $($fleet.Count -eq 0)"
'done'
