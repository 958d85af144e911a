"""databases.py COMMAND [--sanitized]: what the command reads from SQLite, PostgreSQL and MariaDB.

The servers are the test's own, on sockets in a temporary folder. One that is not installed is
skipped, with a word.
"""

import glob
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

import servers

COMMAND = sys.argv[1]
failures = []


def check(what, found, wanted):
    if found != wanted:
        failures.append(what)
        print(f"{what}:\n  {found!r}\n  instead of\n  {wanted!r}")


class Database:
    def __init__(self, name, folder, connection):
        self.name, self.folder, self.connection = name, folder, connection
        self.file = folder / "query.dqy"

    def arguments(self, statement, *options, allowed=True, connection=None):
        self.file.write_text(f"XLODBC\r\n1\r\n{connection or self.connection}\r\n{statement}\r\n\r\n")
        return [COMMAND, "convert", "--no-config", *(["--allow-query"] if allowed else []), *options,
                str(self.file), "-o", "-"]

    def run(self, statement, *options, **more):
        return subprocess.run(self.arguments(statement, *options, **more), text=True,
                              capture_output=True, stdin=subprocess.DEVNULL, timeout=100)

    def gives(self, statement, wanted, *options):
        result = self.run(statement, *options)
        check(f"{self.name}: {statement[:70]}", result.stdout or result.stderr, wanted)

    def named(self, wanted, subcommand, *options):
        """The same without a file."""
        arguments = [COMMAND, subcommand, "--no-config", f"odbc:{self.connection};Token=secret", *options]
        result = subprocess.run(arguments, text=True, capture_output=True, stdin=subprocess.DEVNULL,
                                timeout=100)
        check(f"{self.name}: {arguments[4:]}", wanted in result.stdout or result, True)
        check(f"{self.name} tells no password", "secret" in result.stdout + result.stderr, False)

    def refuses(self, statement, words, *options, **more):
        result = self.run(statement, *options, **more)
        said = result.stderr.lower()
        check(f"{self.name} refuses {statement[:70]}", (result.returncode, result.stdout,
              [word for word in words if word.lower() not in said and print(said) is None]),
              (1, "", []))

    def is_cancelled(self, statement):
        """Within a second."""
        process = subprocess.Popen(self.arguments(statement), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, stdin=subprocess.DEVNULL)
        time.sleep(1)
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=60)
        check(f"{self.name}: seconds until it is cancelled", time.monotonic() - began < 1, True)

    def everywhere(self, scale=None):
        """What holds for each of them; `scale` gives a million rows, of which few are in memory."""
        self.gives("SELECT name FROM kinds WHERE id < 3 ORDER BY id", "name\nK\u00f6ln \U0001f600\n\"\"\n")
        self.gives("SELECT COUNT(*) AS n FROM kinds", "n\n3\n")
        self.gives("SELECT note FROM kinds WHERE id = 2", "note\n" + "x" * 30000 + "\n")
        self.gives("SELECT a FROM none", "a\n")
        self.gives("", "id,whole\n1,9223372036854775807\n", "--sheet", "wholes")
        self.named("  kinds (a table: id, name, value", "info")
        self.named("id,whole\n1,9223372036854775807\n", "convert", "--table", "wholes", "-o", "-")
        self.named("id\n2\n3\n", "convert", "--query", "SELECT id FROM kinds WHERE id = ? OR name = ? "
                   "ORDER BY id", "--option", "params=2,'", "-o", "-")
        self.refuses("SELECT id FROM kinds WHERE id = ?", ["parameters of the statement: 1, given: 0"])
        self.refuses("SELECT 1", ["nobody allowed it", "--allow-query"], allowed=False)
        self.refuses("SELECT * FROM nosuch", ["does not take the query", "nosuch", "["])
        self.refuses("SELECT 1; SELECT 2", ["more than one statement"])
        self.refuses("DELETE FROM kinds", [])
        self.refuses("UPDATE kinds SET id = 7", [])
        self.gives("SELECT MAX(id) AS m FROM kinds", "m\n3\n")
        wide = ", ".join(f"{i} AS c{i}" for i in range(1500))
        result = self.run(f"SELECT {wide}")
        check(f"{self.name}: wide", [len(line.split(",")) for line in result.stdout.split()],
              [1500, 1500])
        if scale is None or "--sanitized" in sys.argv:
            return
        peak = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True, "
                "stdout=subprocess.DEVNULL); "
                "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
        streamed = subprocess.run([sys.executable, "-c", peak, *self.arguments(scale)], text=True,
                                  capture_output=True, timeout=100)
        kilobytes = int(streamed.stdout or 1e9)
        check(f"{self.name}: a million rows in {kilobytes} KB", kilobytes < 32 << 10, True)


def on_sqlite(folder):
    path = folder / "lab.db"
    made = sqlite3.connect(path)
    made.execute("CREATE TABLE kinds (id INTEGER, name VARCHAR(20), value DOUBLE PRECISION, "
                 "price DECIMAL(30,10), made TIMESTAMP, note TEXT, picture BLOB)")
    made.executemany("INSERT INTO kinds VALUES (?, ?, ?, ?, ?, ?, ?)", [
        (1, "K\u00f6ln \U0001f600", 0.1, "12.50", "2024-05-06 07:08:09.500", "short", b"\0"),
        (2, None, -1e300, "12345678901234567890.125", "2024-05-06 00:00:00", "x" * 30000, None),
        (3, "", None, None, None, None, None)])
    made.execute("CREATE TABLE none (a INTEGER)")
    made.execute("CREATE TABLE wholes AS SELECT 1 AS id, 9223372036854775807 AS whole")
    made.execute("CREATE TABLE scale (i INTEGER, x DOUBLE PRECISION, t VARCHAR(20))")
    made.executemany("INSERT INTO scale VALUES (?, ?, ?)",
                     ((i, i / 2, f"name {i}") for i in range(1_000_000)))
    made.commit()
    made.close()
    database = Database("SQLite", folder, f"DRIVER=SQLite3;Database={path}")
    database.everywhere("SELECT * FROM scale")
    database.gives("SELECT id, value, price, made, picture FROM kinds",
                   "id,value,price,made,picture\n1,0.1,12.5,2024-05-06 07:08:09.5,\n"
                   "2,-1e+300,1.23456789012346e+19,2024-05-06 00:00:00,\n3,,,,\n")
    database.refuses("SELECT 1", ["no connection", "["], connection="DSN=nosuch")


def on_postgresql(folder):
    home = folder / "postgresql"
    with servers.postgresql(home) as (process, sql):
        for statement in (
            "CREATE TABLE kinds (id integer, name varchar(20), value double precision, small real, "
            "price numeric(30,10), made timestamp, day date, note text, picture bytea, yes boolean)",
            "INSERT INTO kinds VALUES (1, E'K\u00f6ln \U0001f600', 0.1, 0.1, 12.50, '2024-05-06 07:08:09.5', "
            "'2024-05-06', 'short', '\\x00', true), (2, NULL, '-Infinity', 1e30, "
            "12345678901234567890.125, '2024-05-06', NULL, repeat('x', 30000), NULL, false), "
            "(3, '', NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)",
            "CREATE TABLE none (a integer)",
            "CREATE TABLE wholes AS SELECT 1 AS id, 9223372036854775807 AS whole",
            "CREATE ROLE reader LOGIN PASSWORD 'a;b}c'", "GRANT SELECT ON kinds TO reader",
        ):
            check("PostgreSQL: " + statement[:60], sql(statement), True)
        connection = servers.POSTGRESQL.format(home)
        database = Database("PostgreSQL", folder, connection + "postgres")
        database.everywhere("SELECT i, i / 2.0::float8, 'name ' || i FROM generate_series(1, 1000000) i")
        database.gives("SELECT id, value, small, price, made, day, picture, yes FROM kinds ORDER BY id",
                       "id,value,small,price,made,day,picture,yes\n"
                       "1,0.1,0.1,12.5,2024-05-06 07:08:09.5,2024-05-06,,1\n"
                       "2,-inf,1e+30,12345678901234567890.1250000000,2024-05-06 00:00:00,,,0\n"
                       "3,,,,,,,\n")
        database.refuses("DELETE FROM kinds RETURNING id", ["25006"])
        database.refuses("SELECT 1 / (id - 2) FROM kinds", ["22012"])
        database.refuses("SELECT pg_sleep(60)", ["in time"], "--option", "timeout=1")
        database.is_cancelled("SELECT pg_sleep(60)")
        # Nor does the server go on with it.
        servers.until(lambda: sql("DO $$BEGIN ASSERT (SELECT count(*) = 1 FROM pg_stat_activity "
                                  "WHERE backend_type = 'client backend'); END$$"))
        reader = {"connection": connection + "reader"}
        database.refuses("SELECT id FROM kinds", ["no connection"], **reader)
        os.environ["NVIMPORT_ODBC_PASSWORD"] = "wrong"
        database.refuses("SELECT id FROM kinds", ["no connection", "password"], **reader)
        os.environ["NVIMPORT_ODBC_PASSWORD"] = "a;b}c"
        result = database.run("SELECT MAX(id) AS m FROM kinds", **reader)
        check("PostgreSQL: a password", result.stdout, "m\n3\n")
        del os.environ["NVIMPORT_ODBC_PASSWORD"]
        # A server that dies in the middle.
        slow = subprocess.Popen(database.arguments(
            "SELECT i, repeat('x', 1000) FROM generate_series(1, 100000000) i"),
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, stdin=subprocess.DEVNULL)
        time.sleep(1)
        process.send_signal(signal.SIGQUIT)
        said = slow.communicate(timeout=60)[1]
        check("PostgreSQL: a server that dies", (slow.returncode, "08S01" in said),
              (1, True))


def on_mariadb(folder):
    home = folder / "mariadb"
    with servers.mariadb(home) as sql:
        for statement in (
            "CREATE TABLE kinds (id INT, name VARCHAR(20), value DOUBLE, small FLOAT, price DECIMAL(30,10), "
            "big BIGINT UNSIGNED, made DATETIME(3), day DATE, note TEXT, picture BLOB)",
            "INSERT INTO kinds VALUES (1, 'K\u00f6ln \U0001f600', 0.1, 0.5, 12.50, 18446744073709551615, "
            "'2024-05-06 07:08:09.5', '2024-05-06', 'short', 'x'), (2, NULL, -1e300, NULL, "
            "12345678901234567890.125, 1, '2024-05-06', NULL, REPEAT('x', 30000), NULL), "
            "(3, '', NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL)",
            "CREATE TABLE none (a INT)",
            "CREATE TABLE wholes AS SELECT 1 AS id, 9223372036854775807 AS whole",
        ):
            check("MariaDB: " + statement[:60], sql(statement), True)
        connection = f"DRIVER=MariaDB Unicode;SOCKET={home}/socket;DATABASE=lab;UID=root"
        database = Database("MariaDB", folder, connection)
        # Its driver keeps all rows, whatever it is told.
        database.everywhere()
        database.gives("SELECT id, value, small, price, big, made, day, picture FROM kinds ORDER BY id",
                       "id,value,small,price,big,made,day,picture\n"
                       "1,0.1,0.5,12.5,18446744073709551615,2024-05-06 07:08:09.5,2024-05-06,\n"
                       "2,-1e+300,,12345678901234567890.1250000000,1,2024-05-06 00:00:00,,\n3,,,,,,,\n")
        database.refuses("SELECT SLEEP(60)", ["in time"], "--option", "timeout=1")
        database.is_cancelled("SELECT SLEEP(60)")


def main():
    os.environ["XDG_CONFIG_HOME"] = "/nowhere"
    ran = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        for title, driver, needs, test in (
            ("SQLite", "libsqlite3odbc.so", "/", on_sqlite),
            ("PostgreSQL", "psqlodbcw.so", "/usr/lib/postgresql/*/bin/postgres", on_postgresql),
            ("MariaDB", "libmaodbc.so", "/usr/sbin/mariadbd", on_mariadb),
        ):
            if not glob.glob(f"/usr/lib/*/odbc/{driver}") or not glob.glob(needs):
                print(f"{title} is not installed, and not tried")
                continue
            test(folder)
            ran += 1
    return 77 if ran == 0 else len(failures) > 0


sys.exit(main())
