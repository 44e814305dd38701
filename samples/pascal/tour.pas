{ What else a Pascal program can ask of the library: errors, a refused event interface, late
  binding, and members of GZSupport that take and give texts, records and arrays. demo.pas has the
  events.

  Compiled and run by ./dev test on Debian, elsewhere as demo.pas says. The classes are created and
  called through the unit that the importer wrote; it makes every by-reference parameter a "var", so
  each needs a variable of its very type: WideString, WordBool, OleVariant. }
program tour;

{$ifdef FPC}{$mode delphi}{$H+}{$endif}
{$apptype console}

uses
  SysUtils, Variants, ActiveX, ComObj, ZSupport_1_0_TLB;

type
  THandler = class
    Answer: WideString;
    procedure ConnectionFailed(Sender: TObject; Source: IDispatch; var SourceIID: WideString;
      Reason: wecErrors);
  end;

procedure Report(Problem: EOleException);
begin
  WriteLn(Format('  error %.8x from %s: %s',
    [Cardinal(Problem.ErrorCode), Problem.Source, Problem.Message]));
end;

{ Asked when an item's events cannot be had: another interface is tried, "no events" lets the item
  in without them, and the question returned as it came makes Add fail. }
procedure THandler.ConnectionFailed(Sender: TObject; Source: IDispatch; var SourceIID: WideString;
  Reason: wecErrors);
begin
  WriteLn(Format('  ConnectionFailed %s, reason %.8x', [SourceIID, Cardinal(Reason)]));
  if Answer <> '' then
    SourceIID := Answer;
end;

procedure Add(const Collection: _Zollection; Item: IDispatch; Key: WideString;
  SourceIID: WideString = '');
var
  Before, After: OleVariant;
begin
  Before := EmptyParam;
  After := EmptyParam;
  try
    Collection.Add(Item, SourceIID, Key, Before, After);
    WriteLn('  added ', Key);
  except
    on Problem: EOleException do
      Report(Problem);
  end;
end;

procedure ShowErrors;
const
  IID_UNKNOWN_EVENTS = '{51C6546D-996B-4157-910C-741F6B1A57BB}';
var
  Events: TEvsZollection;
  Handler: THandler;
  Collection: _Zollection;
begin
  Events := TEvsZollection.Create(nil);
  Handler := THandler.Create;
  try
    Events.OnConnectionFailed := Handler.ConnectionFailed;
    Collection := Events.ComServer;
    WriteLn('Errors are exceptions:');
    Add(Collection, CreateOleObject('Scripting.Dictionary'), 'no events');
    Add(Collection, CreateOleObject('Shell.Explorer.2'), 'other events', IID_UNKNOWN_EVENTS);
    Handler.Answer := GUIDToString(GUID_NULL);
    Add(Collection, CreateOleObject('Shell.Explorer.2'), 'without events', IID_UNKNOWN_EVENTS);
    try
      Collection.RemoveByIndex(99);
    except
      on Problem: EOleException do
        Report(Problem);
    end;
    WriteLn('  left in the collection: ', Collection.Count);
  finally
    Handler.Free;
    Events.Free;
  end;
end;

procedure ShowVersions(const Support: _GZSupport);
var
  Text: WideString;
  Candidate, Later: VersionStamp;
  Full, ReleaseType, Hide: WordBool;
begin
  WriteLn('Versions, in records:');
  Text := '1.2.0.5RC3';
  Candidate := Support.VersionStamp(Text);
  Text := '1.10.0';
  Later := Support.VersionStamp(Text);
  Full := True;
  ReleaseType := True;
  Hide := False;
  WriteLn(Format('  %d %d %d %d is %s', [Candidate.Major, Candidate.Minor, Candidate.Revision,
    Candidate.ReleaseType, Support.VersionString(Candidate, Full, ReleaseType, Hide)]));
  WriteLn('  order ', Support.CompareVersionStamps(Candidate, Later));
end;

{ An array of the unit is a PSafeArray. Inside a Variant it is Pascal's own, and freed with it. }
procedure ShowArrays(const Support: _GZSupport);
var
  Numbers, Values, Texts, Names: OleVariant;
  Delimiter, Name: WideString;
  Value: OleVariant;
begin
  WriteLn('Arrays:');
  Numbers := VarArrayCreate([0, 2], varInteger);
  Numbers[0] := 1;
  Numbers[1] := -2;
  Numbers[2] := 30;
  Delimiter := '; ';
  WriteLn('  ', Support.JoinLongs(PSafeArray(TVarData(Numbers).VArray), Delimiter));

  Values := VarArrayOf([1, True, 'three']);
  TVarData(Texts).VType := varArray or varOleStr;
  TVarData(Texts).VArray := Pointer(Support.StringArray(PSafeArray(TVarData(Values).VArray)));
  WriteLn('  ', VarToStr(Texts[0]), ', ', VarToStr(Texts[1]), ', ', VarToStr(Texts[2]));

  { The library may make an array larger: it is passed by reference. }
  Names := VarArrayCreate([0, 0], varOleStr);
  Values := VarArrayCreate([0, 0], varVariant);
  Name := 'colour';
  Value := 'blue';
  Support.AddSVParameter(PSafeArray(TVarData(Names).VArray), PSafeArray(TVarData(Values).VArray),
    Name, Value);
  Name := 'size';
  Value := 12;
  Support.AddSVParameter(PSafeArray(TVarData(Names).VArray), PSafeArray(TVarData(Values).VArray),
    Name, Value);
  WriteLn(Format('  %s=%s, %s=%s', [VarToStr(Names[0]), VarToStr(Values[0]), VarToStr(Names[1]),
    VarToStr(Values[1])]));
end;

procedure ShowValues(const Support: _GZSupport);
var
  Day, HalfHour: TDateTime;
  First, Second: OleVariant;
  Folder: csidl;
begin
  WriteLn('Values, names and folders:');
  Day := 1;
  HalfHour := EncodeTime(0, 30, 0, 0);
  WriteLn(Format('  half hours in a day: %.0f', [Support.DateMultiple(Day, HalfHour)]));
  First := 1;
  Second := 1.0;
  WriteLn('  1 equals 1.0: ', BoolToStr(Support.IsEqualVariant(First, Second), True));
  WriteLn('  ', Support.MakeLegalPath('C:\notes: what? | why?.txt'));
  Folder := CSIDL_APPDATA;
  WriteLn('  below the application data: ',
    BoolToStr(Support.GetFolderPath(Folder, 'Editor\Pages') =
    Support.GetAppDataPath + '\Editor\Pages', True));
  WriteLn('  a user on a computer: ', BoolToStr((Support.GetUserName <> '') and
    (Support.GetComputerName <> ''), True));
end;

procedure ShowSettings(const Support: _GZSupport);
var
  Section, Name, Prompt: WideString;
  Value, Default: OleVariant;
  Mode: RegWriteMode;
  NoPolicy: WordBool;
begin
  WriteLn('Settings:');
  Section := 'Software\Zarnow Instruments Ltd.\Tour';
  Name := 'Colour';
  Value := 'blue';
  Default := 'red';
  Mode := rwm_User;
  Prompt := '';
  NoPolicy := False;
  Support.WriteRegistryValue(Name, Value, Default, Mode, Section, Prompt);
  WriteLn('  written: ', VarToStr(Support.GetRegistryValue(Name, Default, Section, NoPolicy)));
  Value := Default;
  Support.WriteRegistryValue(Name, Value, Default, Mode, Section, Prompt);
  WriteLn('  again: ', VarToStr(Support.GetRegistryValue(Name, Default, Section, NoPolicy)));
end;

{ Late bound, arguments may be left out, and the compiler checks nothing. }
procedure ShowLateBinding;
var
  Collection: OleVariant;
begin
  WriteLn('Late bound:');
  Collection := CreateOleObject('ZSupport.Zollection');
  Collection.Add(CreateOleObject('Shell.Explorer.2'), Key := 'one');
  WriteLn('  ', VarToStr(Collection.Key[1]), ' of ', VarToStr(Collection.Count));
  try
    Collection.RemoveByIndex(99);
  except
    on Problem: EOleException do
      Report(Problem);
  end;
end;

procedure Run;
var
  Support: _GZSupport;
begin
  ShowErrors;
  Support := CoGZSupport.Create;
  ShowVersions(Support);
  ShowArrays(Support);
  ShowValues(Support);
  ShowSettings(Support);
  ShowLateBinding;
  WriteLn('done');
end;

begin
  try
    Run;
  except
    on Problem: Exception do
    begin
      WriteLn('failed: ', Problem.Message);
      ExitCode := 1;
    end;
  end;
end.
