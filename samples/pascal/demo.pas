{ The demo in Pascal: objects of two quite different kinds in one Zollection, and one handler for
  all of their events. It prints line for line what ../demo/demo.cpp prints.

  To run it on Debian: ./dev demo pascal
  With Free Pascal for Windows (32-bit): importtl ZSupport.dll and importtl Thermometer.tlb write
  the units of the library and of the sample's thermometer; then fpc demo.pas.
  With Delphi: import both as component wrappers; its units are called ZSupport_TLB and
  Thermometers_TLB, and the sink is TZollection there. }
program demo;

{$ifdef FPC}{$mode delphi}{$H+}{$endif}
{$apptype console}

uses
  SysUtils, Variants, ActiveX, ComObj, ZSupport_1_0_TLB, Thermometers_1_0_TLB,
  thermometer_class;

type
  THandler = class
  private
    FCollection: _Zollection;
  public
    constructor Create(const Collection: _Zollection);
    procedure EventRaised(Sender: TObject; Index: Integer; Source: IDispatch;
      RaisedEvent: OleVariant; var aParams: OleVariant);
  end;

{ A value as a reader would write it. }
function Show(const Value: OleVariant): string;
begin
  Result := VarToStr(Value);
  if VarIsStr(Value) then
    Result := '"' + Result + '"';
end;

constructor THandler.Create(const Collection: _Zollection);
begin
  inherited Create;
  FCollection := Collection;
end;

{ The one handler. aParams is an array of the event's arguments, from 0. }
procedure THandler.EventRaised(Sender: TObject; Index: Integer; Source: IDispatch;
  RaisedEvent: OleVariant; var aParams: OleVariant);
var
  I: Integer;
  Values: string;
  Remark: WideString;
begin
  Values := '';
  for I := VarArrayLowBound(aParams, 1) to VarArrayHighBound(aParams, 1) do
  begin
    if I > 0 then
      Values := Values + ', ';
    Values := Values + Show(aParams[I]);
  end;
  WriteLn(Format('  EventRaised  position %d  key %-9s %s(%s)',
    [Index, FCollection.Key[Index], VarToStr(RaisedEvent), Values]));
  if RaisedEvent <> 'Reading' then
    Exit;
  { Changing an element changes the argument of the object that fired. A text must be a WideString:
    Pascal's other strings are none of COM's. }
  aParams[0] := Integer(aParams[0] - 2);
  Remark := 'calibrated by the handler';
  aParams[1] := Remark;
end;

procedure Add(const Collection: _Zollection; const Item: IDispatch; Key: WideString);
var
  SourceIID: WideString;
  Before, After: OleVariant;
begin
  SourceIID := ''; { the item's own default event interface }
  Before := EmptyParam;
  After := EmptyParam;
  Collection.Add(Item, SourceIID, Key, Before, After);
  WriteLn('  Add          key ', Key);
end;

procedure Measure(const Thermometer: _Thermometer; Celsius: Integer; Remark: WideString);
begin
  Thermometer.Measure(Celsius, Remark);
  WriteLn('    back at the thermometer: ', Celsius, ', "', Remark, '"');
end;

procedure Tell(const Collection: _Zollection);
var
  Left, Right: OleVariant;
  Kitchen, Cellar: _Thermometer;
begin
  WriteLn('One handler for everything that goes into this collection:');
  Left := CreateOleObject('Shell.Explorer.2');
  Right := CreateOleObject('Shell.Explorer.2');
  Kitchen := CreateThermometer;
  Cellar := CreateThermometer;
  Add(Collection, Left, 'left');
  Add(Collection, Kitchen, 'kitchen');
  Add(Collection, Right, 'right');
  Add(Collection, Cellar, 'cellar');

  WriteLn;
  WriteLn('The browser controls of the platform fire when their properties change:');
  Left.Visible := True;
  Right.MenuBar := True;
  Right.StatusBar := True;

  WriteLn;
  WriteLn('The thermometers fire with arguments by reference, so the handler can answer:');
  Measure(Kitchen, 23, 'as measured');
  Measure(Cellar, 11, 'as measured');

  WriteLn;
  WriteLn('Out of the collection, out of earshot; positions follow:');
  Collection.RemoveByKey('left');
  WriteLn('  RemoveByKey  key left');
  Left.ToolBar := True;
  Right.ToolBar := True;
  Collection.Clear;
end;

procedure Run;
var
  Events: TEvsZollection;
  Handler: THandler;
begin
  { The importer's sink class creates the collection and listens to it. }
  Events := TEvsZollection.Create(nil);
  Handler := THandler.Create(Events.ComServer);
  try
    Events.OnEventRaised := Handler.EventRaised;
    Tell(Events.ComServer);
  finally
    Handler.Free;
    Events.Free;
  end;
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
