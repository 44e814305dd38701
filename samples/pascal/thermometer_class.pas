{ The thermometer of ../thermometer once more, in Pascal: an event source whose event hands its
  arguments out by reference. It answers to its interfaces by itself and leaves late binding to the
  type library, which lies in the program's resources; so it needs no registration.

  The resources: midl (or widl) makes Thermometer.tlb from ../thermometer/Thermometer.idl, and rc
  (or windres) thermometer.res from ../thermometer/thermometer.rc. }
unit thermometer_class;

{$ifdef FPC}{$mode delphi}{$H+}{$endif}
{$R thermometer.res}

interface

uses
  Thermometers_1_0_TLB;

function CreateThermometer: _Thermometer;

implementation

uses
  Windows, SysUtils, ActiveX, ComObj;

const
  CONNECT_E_NOCONNECTION = HResult($80040200);
  CONNECT_E_CANNOTCONNECT = HResult($80040202);
  DISPID_READING = 7;

type
  { Object and connection point in one: everything that a Zollection asks of its items. }
  TThermometer = class(TInterfacedObject, IDispatch, _Thermometer, IConnectionPointContainer,
    IConnectionPoint)
  private
    FDescription: ITypeInfo;
    FListeners: array of IDispatch; { a cookie is a position, from 1 }
  public
    constructor Create(const Description: ITypeInfo);
    { IDispatch: all by the type library }
    function GetTypeInfoCount(out Count: Integer): HResult; stdcall;
    function GetTypeInfo(Index, LocaleID: Integer; out TypeInfo): HResult; stdcall;
    function GetIDsOfNames(const IID: TGUID; Names: Pointer; NameCount, LocaleID: Integer;
      DispIDs: Pointer): HResult; stdcall;
    function Invoke(DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word; var Params;
      VarResult, ExcepInfo, ArgErr: Pointer): HResult; stdcall;
    { _Thermometer }
    procedure Measure(var Celsius: Integer; var Remark: WideString); safecall;
    { IConnectionPointContainer }
    function EnumConnectionPoints(out Points: IEnumConnectionPoints): HResult; stdcall;
    function FindConnectionPoint(const IID: TIID; out Point: IConnectionPoint): HResult; stdcall;
    { IConnectionPoint }
    function GetConnectionInterface(out IID: TIID): HResult; stdcall;
    function GetConnectionPointContainer(out Container: IConnectionPointContainer): HResult;
      stdcall;
    function Advise(const Listener: IUnknown; out Cookie: DWORD): HResult; stdcall;
    function Unadvise(Cookie: DWORD): HResult; stdcall;
    function EnumConnections(out Connections: IEnumConnections): HResult; stdcall;
  end;

constructor TThermometer.Create(const Description: ITypeInfo);
begin
  inherited Create;
  FDescription := Description;
end;

function TThermometer.GetTypeInfoCount(out Count: Integer): HResult;
begin
  Count := 1;
  Result := S_OK;
end;

function TThermometer.GetTypeInfo(Index, LocaleID: Integer; out TypeInfo): HResult;
begin
  { What an untyped "out" holds is not ours to release. }
  Pointer(TypeInfo) := nil;
  if Index <> 0 then
    Exit(DISP_E_BADINDEX);
  ITypeInfo(TypeInfo) := FDescription;
  Result := S_OK;
end;

function TThermometer.GetIDsOfNames(const IID: TGUID; Names: Pointer; NameCount, LocaleID: Integer;
  DispIDs: Pointer): HResult;
begin
  Result := FDescription.GetIDsOfNames(Names, NameCount, PInteger(DispIDs)^);
end;

function TThermometer.Invoke(DispID: Integer; const IID: TGUID; LocaleID: Integer; Flags: Word;
  var Params; VarResult, ExcepInfo, ArgErr: Pointer): HResult;
begin
  Result := FDescription.Invoke(Pointer(_Thermometer(Self)), DispID, Flags, TDispParams(Params),
    VarResult, ExcepInfo, ArgErr);
end;

procedure TThermometer.Measure(var Celsius: Integer; var Remark: WideString);
var
  Listener: IDispatch;
  Listeners: array of IDispatch;
  Arguments: array [0 .. 1] of TVariantArg; { the last one first }
  Parameters: TDispParams;
begin
  FillChar(Arguments, SizeOf(Arguments), 0);
  Arguments[0].vt := VT_BYREF or VT_BSTR;
  Arguments[0].pbstrVal := @Remark;
  Arguments[1].vt := VT_BYREF or VT_I4;
  Arguments[1].plVal := @Celsius;
  FillChar(Parameters, SizeOf(Parameters), 0);
  Parameters.rgvarg := @Arguments;
  Parameters.cArgs := Length(Arguments);
  Listeners := Copy(FListeners); { one may leave while it is called }
  for Listener in Listeners do
    if Listener <> nil then
      Listener.Invoke(DISPID_READING, GUID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, Parameters,
        nil, nil, nil);
end;

function TThermometer.EnumConnectionPoints(out Points: IEnumConnectionPoints): HResult;
begin
  Points := nil;
  Result := E_NOTIMPL;
end;

function TThermometer.FindConnectionPoint(const IID: TIID; out Point: IConnectionPoint): HResult;
begin
  Point := nil;
  if not IsEqualGUID(IID, _ThermometerEvents) then
    Exit(CONNECT_E_NOCONNECTION);
  Point := Self;
  Result := S_OK;
end;

function TThermometer.GetConnectionInterface(out IID: TIID): HResult;
begin
  IID := _ThermometerEvents;
  Result := S_OK;
end;

function TThermometer.GetConnectionPointContainer(out Container: IConnectionPointContainer):
  HResult;
begin
  Container := Self;
  Result := S_OK;
end;

function TThermometer.Advise(const Listener: IUnknown; out Cookie: DWORD): HResult;
var
  Sink: IDispatch;
begin
  Cookie := 0;
  if not Supports(Listener, IDispatch, Sink) then
    Exit(CONNECT_E_CANNOTCONNECT);
  SetLength(FListeners, Length(FListeners) + 1);
  FListeners[High(FListeners)] := Sink;
  Cookie := Length(FListeners);
  Result := S_OK;
end;

function TThermometer.Unadvise(Cookie: DWORD): HResult;
begin
  if (Cookie < 1) or (Cookie > DWORD(Length(FListeners))) or (FListeners[Cookie - 1] = nil) then
    Exit(CONNECT_E_NOCONNECTION);
  FListeners[Cookie - 1] := nil;
  Result := S_OK;
end;

function TThermometer.EnumConnections(out Connections: IEnumConnections): HResult;
begin
  Connections := nil;
  Result := E_NOTIMPL;
end;

function CreateThermometer: _Thermometer;
var
  Library_: ITypeLib;
  Description: ITypeInfo;
begin
  OleCheck(LoadTypeLibEx(PWideChar(WideString(ParamStr(0))), REGKIND_NONE, Library_));
  OleCheck(Library_.GetTypeInfoOfGuid(IID__Thermometer, Description));
  Result := TThermometer.Create(Description);
end;

end.
