"""A pyodbc program that checks itself, over any data source.

usage: client.py CONNECTION_STRING [narrow] [short] [single]
    narrow   the driver takes bound text in UTF-8 only, and pyodbc has arrays of UTF-16 only
    short    no text that is sent in pieces: the driver converts each by itself, and pyodbc cuts within a character
    single   no arrays of parameters: the driver has none
"""
import datetime
import decimal
import sys

import pyodbc

TEXT = "Gr\u00fc\u00dfe \u6f22\u5b57 \U0001f600"
TABLE = "t\u00e4ble"


def same(expected, value):
    if value != expected:
        raise AssertionError(f"{value!r:.200} is not {expected!r:.200}")


def connect(where, narrow):
    pyodbc.pooling = False
    conn = pyodbc.connect(where, autocommit=False)
    if narrow:
        conn.setdecoding(pyodbc.SQL_CHAR, encoding="utf-8")
        conn.setdecoding(pyodbc.SQL_WCHAR, encoding="utf-8", ctype=pyodbc.SQL_CHAR)
        conn.setencoding(encoding="utf-8", ctype=pyodbc.SQL_CHAR)
    return conn


def create(conn):
    binary = {"PostgreSQL": "bytea", "MariaDB": "longblob"}.get(conn.getinfo(pyodbc.SQL_DBMS_NAME), "blob")
    conn.execute(f'create table {TABLE} (id integer primary key, n\u00e4me varchar(200), price decimal(12,3), '
                 f'day date, note text, data {binary})')
    conn.commit()


def insert_and_read(conn, long_text):
    cursor = conn.cursor()
    row = (1, TEXT, decimal.Decimal("1234567.891"), datetime.date(2024, 2, 29), long_text)
    cursor.execute(f"insert into {TABLE} (id, n\u00e4me, price, day, note) values (?, ?, ?, ?, ?)", row)
    cursor.executemany(f"insert into {TABLE} (id, n\u00e4me) values (?, ?)",
                       [(i, None if i % 3 == 0 else f"{TEXT} {i}") for i in range(2, 200)])
    conn.commit()
    read = cursor.execute(f"select id, n\u00e4me, price, day, note from {TABLE} where id = ?", 1).fetchone()
    same(["id", "n\u00e4me", "price", "day", "note"], [column[0] for column in cursor.description])
    same(row[:2] + row[3:], (read[0], read[1], read[3], read[4]))
    same(row[2], decimal.Decimal(str(read[2])))
    rows = cursor.execute(f"select id, n\u00e4me from {TABLE} where id > 1 order by id").fetchall()
    same([(i, None if i % 3 == 0 else f"{TEXT} {i}") for i in range(2, 200)], [tuple(r) for r in rows])
    same(row[1], cursor.execute(f"select n\u00e4me from {TABLE} where n\u00e4me = '{TEXT}'").fetchval())


def binary_values(conn):
    cursor = conn.cursor()
    values = [bytes(range(256)), b"", b"\0" * 3, bytes(range(256)) * 300]
    for i, value in enumerate(values):
        cursor.execute(f"update {TABLE} set data = ? where id = ?", value, 10 + i)
    rows = cursor.execute(f"select data from {TABLE} where id between 10 and 13 order by id").fetchall()
    same(values, [row[0] for row in rows])
    conn.rollback()


def arrays_of_parameters(conn, with_text):
    cursor = conn.cursor()
    cursor.fast_executemany = True
    rows = [(i, None if i % 7 == 0 else f"{TEXT} {i}")[:1 + with_text] for i in range(1000, 1300)]
    columns = ["id", "n\u00e4me"][:1 + with_text]
    cursor.executemany(f"insert into {TABLE} ({', '.join(columns)}) values ({', '.join('?' for _ in columns)})", rows)
    read = conn.execute(f"select {', '.join(columns)} from {TABLE} where id >= 1000 order by id").fetchall()
    same(rows, [tuple(row) for row in read])
    conn.rollback()


def skipped_rows(conn):
    cursor = conn.execute(f"select id from {TABLE} order by id")
    same(1, cursor.fetchval())
    cursor.skip(100)
    same(102, cursor.fetchval())
    cursor = conn.execute(f"select id from {TABLE} order by id")
    cursor.skip(3)
    same(4, cursor.fetchval())


def transactions(conn):
    count = f"select count(*) from {TABLE}"
    before = conn.execute(count).fetchval()
    conn.execute(f"delete from {TABLE}")
    same(0, conn.execute(count).fetchval())
    conn.rollback()
    same(before, conn.execute(count).fetchval())


def catalogs(conn):
    cursor = conn.cursor()
    same([TABLE], [row.table_name for row in cursor.tables(table=TABLE)])
    same("n\u00e4me", cursor.columns(table=TABLE).fetchall()[1].column_name)
    if not conn.getinfo(pyodbc.SQL_DBMS_NAME).isalnum():
        raise AssertionError(conn.getinfo(pyodbc.SQL_DBMS_NAME))


def errors(conn):
    try:
        conn.execute("select * from nirgends_\u00fc")
    except pyodbc.Error as error:
        state, text = error.args
        if len(state) != 5 or "nirgends_\u00fc" not in text:
            raise AssertionError(error.args)
    else:
        raise AssertionError("a table that is nowhere was read")
    conn.rollback()


def many_rows(conn):
    digits = " cross join ".join(f"(select {' d union all select '.join(map(str, range(10)))} d) d{i}" for i in range(5))
    number = "+".join(f"d{i}.d*{10 ** i}" for i in range(5))
    total = 0
    for row in conn.execute(f"select {number}, 'some text' from {digits}"):
        total += int(row[0])
    same(sum(range(100000)), total)


def main():
    where, options = sys.argv[1], sys.argv[2:]
    is_narrow = "narrow" in options
    conn = connect(where, is_narrow)
    long_text = "long " * (20 if "short" in options else 20000)
    steps = [create, lambda c: insert_and_read(c, long_text), binary_values,
                 lambda c: arrays_of_parameters(c, not is_narrow), skipped_rows, transactions, catalogs, errors, many_rows]
    if "single" in options:
        del steps[3]
    for step in steps:
        try:
            step(conn)
        except Exception as failure:
            sys.exit(f"{where}: {step.__name__}: {failure!r:.400}")
    conn.execute(f"drop table {TABLE}")
    conn.commit()
    conn.close()


main()
