{ The index benchmarks of bench_index.cpp, run by an independent xBase
  engine: Free Pascal's TDbf (Debian's fp-units-db), which writes dBASE IV
  tables with .MDX indexes. It reads the same PEOPLE.DBF that bench_index
  leaves in VGX_BENCH_DIR, copies it into a dBASE IV table (not timed), then
  times the same four jobs:
    build   the tags UPPER(NAME), AMOUNT, DTOS(BIRTH) on every record;
    seek    random SearchKey calls on the UPPER(NAME) tag (argument 3, default
            100000; the figure is per seek);
    skip    First, then Next through every record in UPPER(NAME) order;
    append  a new table with the three tags, then 100,000 appended records.
  Usage: tdbf_index PEOPLE.DBF WORKDIR [SEEKS] }
program tdbf_index;
{$mode objfpc}{$H+}

uses SysUtils, DB, dbf, dbf_common;

function Seconds: Double;
begin
  Result := Now * 86400.0;
end;

var
  Source, Indexed, Appended: TDbf;
  Names: array of string;
  Amounts: array of Double;
  Births: array of TDateTime;
  WorkDir: string;
  I, N, Seeks, Found, Walked: Integer;
  T0, BuildTime, SeekTime, SkipTime, AppendTime: Double;
  RandState: QWord;

function NextRandom: QWord;
begin
  RandState := RandState xor (RandState shl 13);
  RandState := RandState xor (RandState shr 7);
  RandState := RandState xor (RandState shl 17);
  Result := RandState;
end;

procedure DefineFields(T: TDbf);
begin
  T.TableLevel := 4;
  T.Exclusive := True;
  T.FieldDefs.Clear;
  T.FieldDefs.Add('NAME', ftString, 20);
  T.FieldDefs.Add('AMOUNT', ftFloat, 12);
  T.FieldDefs[1].Precision := 2;
  T.FieldDefs.Add('BIRTH', ftDate);
end;

procedure AddTags(T: TDbf);
begin
  T.AddIndex('NAME', 'UPPER(NAME)', [ixExpression]);
  T.AddIndex('AMOUNT', 'AMOUNT', []);
  T.AddIndex('BIRTH', 'DTOS(BIRTH)', [ixExpression]);
end;

procedure AppendRow(T: TDbf; Row: Integer);
begin
  T.Append;
  T.Fields[0].AsString := Names[Row];
  T.Fields[1].AsFloat := Amounts[Row];
  T.Fields[2].AsDateTime := Births[Row];
  T.Post;
end;

begin
  if ParamCount < 2 then
  begin
    WriteLn('usage: tdbf_index PEOPLE.DBF WORKDIR [SEEKS]');
    Halt(1);
  end;
  WorkDir := IncludeTrailingPathDelimiter(ParamStr(2));
  Seeks := 100000;
  if ParamCount >= 3 then Seeks := StrToInt(ParamStr(3));

  Source := TDbf.Create(nil);
  Source.FilePathFull := ExtractFilePath(ExpandFileName(ParamStr(1)));
  Source.TableName := ExtractFileName(ParamStr(1));
  Source.ReadOnly := True;
  Source.Open;
  N := Source.RecordCount;
  SetLength(Names, N);
  SetLength(Amounts, N);
  SetLength(Births, N);
  I := 0;
  Source.First;
  while not Source.EOF do
  begin
    Names[I] := Source.FieldByName('NAME').AsString;
    Amounts[I] := Source.FieldByName('AMOUNT').AsFloat;
    Births[I] := Source.FieldByName('BIRTH').AsDateTime;
    Inc(I);
    Source.Next;
  end;
  Source.Close;

  Indexed := TDbf.Create(nil);
  Indexed.FilePathFull := WorkDir;
  Indexed.TableName := 'TDBFCOPY.DBF';
  DefineFields(Indexed);
  Indexed.CreateTable;
  Indexed.Open;
  for I := 0 to N - 1 do AppendRow(Indexed, I);

  T0 := Seconds;
  AddTags(Indexed);
  BuildTime := Seconds - T0;

  Indexed.IndexName := 'NAME';
  RandState := QWord($D1B54A32D192ED03);
  Found := 0;
  T0 := Seconds;
  for I := 1 to Seeks do
    if Indexed.SearchKey(UpperCase(Names[NextRandom mod QWord(N)]), stEqual) then Inc(Found);
  SeekTime := Seconds - T0;

  Walked := 0;
  T0 := Seconds;
  Indexed.First;
  while not Indexed.EOF do
  begin
    Inc(Walked);
    Indexed.Next;
  end;
  SkipTime := Seconds - T0;
  Indexed.Close;

  Appended := TDbf.Create(nil);
  Appended.FilePathFull := WorkDir;
  Appended.TableName := 'TDBFAPP.DBF';
  DefineFields(Appended);
  T0 := Seconds;
  Appended.CreateTable;
  Appended.Open;
  AddTags(Appended);
  for I := 0 to 99999 do AppendRow(Appended, I mod N);
  Appended.Close;
  AppendTime := Seconds - T0;

  WriteLn(Format('records=%d build_s=%.3f seeks=%d found=%d seek_us=%.2f walked=%d skip_s=%.3f append_100k_s=%.3f',
    [N, BuildTime, Seeks, Found, SeekTime / Seeks * 1e6, Walked, SkipTime, AppendTime]));
end.
