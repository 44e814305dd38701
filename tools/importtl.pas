{ Writes a Pascal unit for a type library: importtl LIBRARY UNIT.pas
  A main program for Free Pascal's own unit TypeLib. Give LIBRARY its full path: the platform
  registers a library that it is asked for by its bare name. }
program importtl;

{$mode objfpc}{$H+}{$apptype console}

uses
  ActiveX, TypeLib;

var
  Importer: TTypeLibImporter;
begin
  CoInitialize(nil);
  Importer := TTypeLibImporter.Create(nil);
  Importer.InputFileName := UTF8Decode(ParamStr(1));
  Importer.OutputFileName := ParamStr(2);
  Importer.RemoveStructTag := False;
  Importer.Execute;
  Importer.Free;
end.
