<?php
// A PHP program that checks itself: client.php DSN [scroll]. With scroll the rows of a forward-only driver are read
// backwards.
function same($expected, $value) {
  if ($expected !== $value) {
    fwrite(STDERR, var_export($value, true) . " is not " . var_export($expected, true) . ": " . odbc_errormsg() . "\n");
    exit(1);
  }
}
error_reporting(E_ERROR);  // some drivers warn about every cursor that PHP asks for
$conn = odbc_connect($argv[1], "", "");
same(true, $conn !== false);
@odbc_exec($conn, "drop table php_rows");
odbc_exec($conn, "create table php_rows (id integer, name varchar(40))");
$insert = odbc_prepare($conn, "insert into php_rows values (?, ?)");
for ($i = 1; $i <= 50; ++$i) same(true, odbc_execute($insert, [$i, "Zeile $i"]));
$rows = odbc_exec($conn, "select id, name from php_rows order by id");
if (in_array("scroll", $argv)) {
  for ($i = 50; $i >= 1; --$i) {
    same(true, odbc_fetch_row($rows, $i));
    same("Zeile $i", odbc_result($rows, 2));
  }
} else {
  for ($i = 1; odbc_fetch_row($rows); ++$i) same("Zeile $i", odbc_result($rows, 2));
  same(51, $i);
}
same(false, @odbc_exec($conn, "select * from nirgends"));
same(5, strlen(odbc_error($conn)));
odbc_exec($conn, "drop table php_rows");
odbc_close($conn);
