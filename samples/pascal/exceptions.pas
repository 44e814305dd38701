{ A handler that lets Pascal exceptions out: they go to whoever made the source fire, past the
  collection, which goes on as if nothing had been. }
program exceptions;

{$mode delphi}{$H+}{$apptype console}

uses
  SysUtils, Variants, ActiveX, ComObj, ZSupport_1_0_TLB;

type
  THandler = class
    Heard: Integer;
    Throws: Boolean;
    procedure EventRaised(Sender: TObject; Index: Integer; Source: IDispatch;
      RaisedEvent: OleVariant; var aParams: OleVariant);
  end;

procedure THandler.EventRaised(Sender: TObject; Index: Integer; Source: IDispatch;
  RaisedEvent: OleVariant; var aParams: OleVariant);
begin
  Inc(Heard);
  if Throws then
    raise Exception.Create('from the handler');
end;

{ How many hold the object besides the one variable that the caller has. }
function OtherReferences(const Held: IUnknown): Integer;
begin
  Result := Held._AddRef - 2;
  Held._Release;
end;

function NewBrowser(const Collection: _Zollection; Key: WideString): IDispatch;
var
  SourceIID: WideString;
  Before, After: OleVariant;
begin
  Result := CreateOleObject('Shell.Explorer.2');
  SourceIID := '';
  Before := EmptyParam;
  After := EmptyParam;
  Collection.Add(Result, SourceIID, Key, Before, After);
end;

{ Its own procedure, since a caller would keep the Variant to its end. }
procedure Fire(const Browser: IDispatch; Value: Boolean);
begin
  OleVariant(Browser).Visible := Value;
end;

procedure Run;
const
  Count = 200;
var
  Events: TEvsZollection;
  Handler: THandler;
  Collection: _Zollection;
  First, Second: IDispatch;
  I, Before: Integer;
begin
  Handler := THandler.Create;
  Events := TEvsZollection.Create(nil);
  Events.OnEventRaised := Handler.EventRaised;
  Collection := Events.ComServer;
  First := NewBrowser(Collection, 'first');
  Second := NewBrowser(Collection, 'second');
  Before := OtherReferences(Collection);
  Handler.Throws := True;
  for I := 1 to Count do
    try
      Fire(First, Odd(I));
    except
      { Whether the source lets an exception through is its own affair. }
    end;
  WriteLn('raised ', Handler.Heard);

  Handler.Throws := False;
  Handler.Heard := 0;
  Fire(First, True);
  Fire(Second, True);
  Fire(First, False);
  WriteLn('heard afterwards ', Handler.Heard);
  WriteLn('references of the collection gained ', OtherReferences(Collection) - Before);
  Collection.Clear;
  WriteLn('references of the items left ', OtherReferences(First) + OtherReferences(Second));
  Events.Free;
  WriteLn('references of the collection left ', OtherReferences(Collection));
end;

begin
  Run;
end.
