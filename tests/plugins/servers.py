"""Database servers of a test's own, on sockets in a folder."""

import contextlib
import glob
import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import time

# How the first one is connected to, by its folder and up to the user.
POSTGRESQL = "DRIVER=PostgreSQL Unicode;Servername={};Database=postgres;UID="


@contextlib.contextmanager
def server(user, start):
    """One that another user runs where root may not."""
    options = {}
    if os.getuid() == 0:
        account = pwd.getpwnam(user)
        options = {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": []}
    process = start(options)
    try:
        yield process
    finally:
        process.send_signal(signal.SIGINT if user == "postgres" else signal.SIGTERM)
        process.wait(timeout=60)


def give_to(user, folder):
    folder.mkdir()
    if os.getuid() == 0:
        shutil.chown(folder, user)


def until(works):
    for _ in range(300):
        if works():
            return
        time.sleep(0.1)
    raise TimeoutError


@contextlib.contextmanager
def postgresql(home):
    """Its process, and what runs a statement. "reader" needs a password, others do not."""
    programs = pathlib.Path(max(glob.glob("/usr/lib/postgresql/*/bin")))
    give_to("postgres", home)
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, "cwd": home}
    data = str(home / "data")

    def start(options):
        subprocess.run([programs / "initdb", "-A", "trust", "-U", "postgres", "-E", "UTF8", "-D", data],
                       check=True, **quiet, **options)
        hba = home / "data/pg_hba.conf"
        hba.write_text("local all reader scram-sha-256\nlocal all all trust\n")
        return subprocess.Popen([programs / "postgres", "-D", data, "-k", str(home), "-c", "fsync=off",
                                 "-c", "listen_addresses="], **quiet, **options)

    def sql(statement):
        return subprocess.run([programs / "psql", "-q", "-v", "ON_ERROR_STOP=1", "-h", str(home), "-U", "postgres", "-c",
                               statement], **quiet).returncode == 0

    with server("postgres", start) as process:
        until(lambda: sql("SELECT 1"))
        yield process, sql


@contextlib.contextmanager
def mariadb(home):
    """What runs a statement in the database "lab"."""
    give_to("mysql", home)
    quiet = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, "cwd": home}
    socket = home / "socket"

    def start(options):
        subprocess.run(["mysql_install_db", "--no-defaults", f"--datadir={home}/data",
                        "--auth-root-authentication-method=normal", "--skip-test-db"],
                       check=True, **quiet, **options)
        return subprocess.Popen(["mariadbd", "--no-defaults", f"--datadir={home}/data", "--skip-networking",
                                 f"--socket={socket}", "--innodb-flush-log-at-trx-commit=0"], **quiet, **options)

    def sql(statement, database="lab"):
        return subprocess.run(["mariadb", "--no-defaults", "-u", "root", f"--socket={socket}", "--default-character-set=utf8mb4",
                               "-e", statement, database], **quiet).returncode == 0

    with server("mysql", start):
        until(lambda: sql("CREATE DATABASE IF NOT EXISTS lab CHARACTER SET utf8mb4", "mysql"))
        yield sql
