#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tries the arrangements of docs/scaling.md, and prints its tables.

Usage: scale_out.py KWLOOKUPD KWLOOKUP SERVERS [ARRANGEMENT...]

Each host is a network namespace, and nothing leaves them. Postfix's smtpd and HAProxy are on one
host, two daemons and the servers with their data on others. While senders are tried, a daemon is
killed, the cable of the other is pulled, and the server that answers is killed. A sender that is
not on the list must never be refused for good, and one on the list must never be accepted.

KWLOOKUPD and KWLOOKUP are the programs, SERVERS the directory of unpack_servers. It needs root, and
ends with status 77 without.
"""
import os
import random
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

HOSTS = {"mx": "192.0.2.10", "kw1": "192.0.2.11", "kw2": "192.0.2.12",
         "db1": "192.0.2.21", "db2": "192.0.2.22", "db3": "192.0.2.23"}
DAEMONS = ("kw1", "kw2")
DOOR = 8823
SMTP = 2525
LIMIT = 60        # seconds; what takes longer has failed
SENDERS = 200     # on the list, and as many that are not
SESSIONS = 4
QUESTIONS = 400   # to find what an answer costs
ROUNDS = 5        # of these; the best counts, because other programs use the processors, too
CACHE_TIME = 2    # seconds


def check(holds, what):
    if not holds:
        raise AssertionError(what)


def wait_until(holds, what):
    end = time.monotonic() + LIMIT
    while True:
        try:
            if holds():
                return
        except (OSError, subprocess.CalledProcessError):
            pass  # not yet
        check(time.monotonic() < end, f"not within {LIMIT} s: {what}")
        time.sleep(0.05)


def listed(number):
    return f"spam-{number}@bulk.example"


def clean(number):
    return f"user-{number}@corp.example"


class Net:
    """Hosts on one switch. Ours is the first; a process that sleeps keeps each other one."""

    def __init__(self):
        run("ip", "link", "set", "lo", "up")
        run("ip", "link", "add", "switch", "type", "bridge")
        run("ip", "address", "add", HOSTS["mx"] + "/24", "dev", "switch")
        run("ip", "link", "set", "switch", "up")
        self.keepers = {}
        for name, address in list(HOSTS.items())[1:]:
            keeper = subprocess.Popen(["setpriv", "--pdeathsig=KILL", "unshare", "-n", "sleep", "inf"])
            own = os.readlink("/proc/self/ns/net")
            wait_until(lambda pid=keeper.pid: os.readlink(f"/proc/{pid}/ns/net") != own, name)
            self.keepers[name] = keeper
            run("ip", "link", "add", name, "type", "veth", "peer", "eth0", "netns", str(keeper.pid))
            run("ip", "link", "set", name, "master", "switch", "up")
            for words in (("link", "set", "lo", "up"), ("link", "set", "eth0", "up"),
                          ("address", "add", address + "/24", "dev", "eth0")):
                run(*self.at(name), "ip", *words)

    def at(self, name):
        """The words that run a program on a host."""
        if name == "mx":
            return []
        return ["nsenter", f"--net=/proc/{self.keepers[name].pid}/ns/net", "--"]

    def plug(self, name, state):
        run("ip", "link", "set", name, state)

    def close(self):
        for keeper in self.keepers.values():
            keeper.kill()
            keeper.wait()


def run(*words, text=None):
    return subprocess.run(words, check=True, input=text, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT).stdout


class Programs:
    """Starts programs on hosts, and ends them."""

    def __init__(self, net, servers, home):
        self.net, self.root, self.home = net, servers / "root", home
        library = self.root / "usr/lib" / (os.uname().machine + "-linux-gnu")
        self.libraries = f"LD_LIBRARY_PATH={library}:{self.root}/usr/lib/postfix"
        self.running = []

    def words(self, host, words, nobody):
        user = ["setpriv", "--pdeathsig=KILL"]
        if nobody:
            user += ["--reuid=65534", "--regid=65534", "--clear-groups",
                     "--inh-caps=+dac_override", "--ambient-caps=+dac_override",
                     "--securebits=+no_setuid_fixup"]
        return [*self.net.at(host), "prlimit", "--nofile=1024:1024", *user,
                "env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C", self.libraries,
                str(self.root / words[0]), *map(str, words[1:])]

    def start(self, host, *words, nobody=True):
        with open(self.home / f"log-{host}-{Path(words[0]).name}", "ab") as log:
            process = subprocess.Popen(self.words(host, words, nobody), stdin=subprocess.DEVNULL,
                                       stdout=log, stderr=log, cwd=self.home)
        self.running.append(process)
        return process

    def run(self, host, *words, text=None):
        return run(*self.words(host, words, True), text=text)

    def directory(self, name):
        path = self.home / name
        path.mkdir()
        os.chown(path, 65534, 65534)
        path.chmod(0o700)
        return path

    def end(self, process, terminate=False):
        process.terminate() if terminate else process.kill()
        process.wait()
        self.running.remove(process)

    def end_all(self):
        for process in self.running[::-1]:
            self.end(process)


class Files:
    """A text file on the host of each daemon."""
    NAME = "a text file for each daemon"
    KEEPS = "the list"
    STALE = "`Settle` and the load"
    ITEM = "file:@/blocked"
    SEARCH = "address"
    SECTION = ""
    IS_REPLICATED = False

    def __init__(self, programs):
        self.homes = [programs.home / name for name in DAEMONS]
        self.lines = [listed(i) + " REJECT listed" for i in range(SENDERS)]
        self.write()

    def write(self):
        for home in self.homes:
            (home / "blocked.new").write_text("\n".join(self.lines) + "\n")
            (home / "blocked.new").rename(home / "blocked")

    def add(self, address):
        self.lines.append(address + " REJECT listed")
        self.write()


class Redis:
    """Three masters and a replica of each, two nodes a host."""
    NAME = "Redis Cluster"
    KEEPS = "nothing"
    STALE = "0"
    ITEM = "redis:GET $s"
    SEARCH = "exact"
    SECTION = "[lookup_redis]\nHosts = 192.0.2.21:7001, 192.0.2.22:7001, 192.0.2.23:7001\n"
    IS_REPLICATED = True
    NODE_TIMEOUT = 1000  # ms

    def __init__(self, programs):
        self.programs = programs
        self.nodes = {}
        for host in ("db1", "db2", "db3"):
            for port in (7001, 7002):
                programs.directory(f"redis-{host}-{port}")
                self.start(host, port)
        addresses = [f"{HOSTS[host]}:{port}" for host, port in self.nodes]
        for host, port in self.nodes:
            wait_until(lambda h=host, p=port: "PONG" in self.ask(h, p, "PING"), "a node of Redis")
        programs.run("mx", "usr/bin/redis-cli", "--cluster", "create", *addresses,
                     "--cluster-replicas", "1", "--cluster-yes")
        wait_until(self.is_whole, "the cluster is whole")
        for i in range(SENDERS):
            self.add(listed(i))

    def start(self, host, port):
        home = self.programs.home / f"redis-{host}-{port}"
        self.nodes[host, port] = self.programs.start(
            host, "usr/bin/redis-server", "--bind", HOSTS[host], "--port", port, "--dir", home,
            "--protected-mode", "no", "--save", "", "--appendonly", "yes", "--cluster-enabled", "yes",
            "--cluster-node-timeout", self.NODE_TIMEOUT)

    def ask(self, host, port, *words):
        return self.programs.run("mx", "usr/bin/redis-cli", "-e", "-c", "-h", HOSTS[host], "-p", port,
                                 *words)

    def is_whole(self):
        for host, port in self.nodes:
            info = self.ask(host, port, "CLUSTER", "INFO")
            role = self.ask(host, port, "ROLE").split()
            if "cluster_state:ok" not in info or "cluster_slots_fail:0" not in info or \
                    "fail" in self.ask(host, port, "CLUSTER", "NODES") or \
                    (role[0] == "slave" and "connected" not in role):
                return False
        return True

    def add(self, address):
        host, port = next(iter(self.nodes))
        self.ask(host, port, "SET", address, "REJECT listed")

    def kill(self):
        for host, port in self.nodes:
            if self.ask(host, port, "ROLE").startswith("master"):
                self.programs.end(self.nodes.pop((host, port)))
                return lambda: (self.start(host, port), wait_until(self.is_whole, "whole again"))


class Postgres:
    """A primary, and a replica by streaming."""
    NAME = "PostgreSQL and a replica"
    KEEPS = "nothing"
    STALE = "0, or the lag of the replica"
    ITEM = "postgres:select result from blocked where address = '$s'"
    SEARCH = "exact"
    SECTION = "[lookup_postgres]\nHosts = 192.0.2.21, 192.0.2.22\nUser = test\nDatabase = postgres\n"
    IS_REPLICATED = True
    BIN = "usr/lib/postgresql/15/bin/"

    def __init__(self, programs):
        self.programs = programs
        home = programs.directory("postgres-db1")
        programs.directory("postgres-db2")
        programs.run("mx", self.BIN + "initdb", "-D", home / "data", "-U", "test", "--auth=trust",
                     "--no-sync", "--no-instructions", "--encoding=UTF8", "--locale=C")
        with open(home / "data/pg_hba.conf", "w") as rules:
            rules.write("host all,replication test 192.0.2.0/24 trust\n")
        self.primary = self.start("db1")
        self.query("db1", "create table blocked (address text primary key, result text)")
        self.query("db1", "insert into blocked select 'spam-' || i || '@bulk.example', 'REJECT listed' "
                          f"from generate_series(0, {SENDERS - 1}) i")
        programs.run("db2", self.BIN + "pg_basebackup", "-h", HOSTS["db1"], "-U", "test", "-R",
                     "-D", programs.home / "postgres-db2/data", "-c", "fast", "--no-sync")
        self.start("db2")

    def start(self, host):
        home = self.programs.home / f"postgres-{host}"
        process = self.programs.start(
            host, self.BIN + "postgres", "-D", home / "data", "-k", home, "-c",
            "listen_addresses=" + HOSTS[host], "-c", "fsync=off", "-c", "shared_buffers=16MB")
        wait_until(lambda: self.query(host, "select 1"), "PostgreSQL answers")
        return process

    def query(self, host, statement):
        return self.programs.run("mx", self.BIN + "psql", "-X", "-q", "-A", "-t", "-h", HOSTS[host],
                                 "-U", "test", "-d", "postgres", "-c", statement)

    def add(self, address):
        self.query("db1", f"insert into blocked values ('{address}', 'REJECT listed')")

    def kill(self):
        # Its children end by themselves when it is gone.
        self.programs.end(self.primary)
        (self.programs.home / "postgres-db1/data/postmaster.pid").unlink()
        return lambda: setattr(self, "primary", self.start("db1"))


class Ldap:
    """A provider, and a consumer that the provider tells of changes."""
    NAME = "OpenLDAP and a replica"
    KEEPS = "nothing"
    STALE = "0, or the lag of the replica"
    ITEM = "ldap:Attributes=description|(mail=$s)"
    SEARCH = "exact"
    SECTION = ("[lookup_ldap]\nHosts = 192.0.2.21:3890, 192.0.2.22:3890\n"
               "Base = dc=example,dc=test\n")
    IS_REPLICATED = True
    ADMIN = ("cn=admin,dc=example,dc=test", "secret")

    def __init__(self, programs):
        self.programs = programs
        name, password = self.ADMIN
        for host in ("db1", "db2"):
            home = programs.directory(f"ldap-{host}")
            (home / "data").mkdir()
            os.chown(home / "data", 65534, 65534)
            text = "".join(f"include {programs.root}/etc/ldap/schema/{schema}.schema\n"
                           for schema in ("core", "cosine", "inetorgperson"))
            text += (f"modulepath {programs.root}/usr/lib/ldap\nmoduleload back_mdb\n"
                     f"moduleload syncprov\npidfile {home}/pid\ndatabase mdb\n"
                     f"suffix dc=example,dc=test\nmaxsize 67108864\nrootdn {name}\n"
                     f"rootpw {password}\ndirectory {home}/data\n"
                     "index objectClass,entryCSN,entryUUID,mail eq\n")
            if host == "db1":
                text += "overlay syncprov\n"
            else:
                text += (f"syncrepl rid=1 provider=ldap://{HOSTS['db1']}:3890 type=refreshAndPersist "
                         f'retry="1 +" searchbase="dc=example,dc=test" bindmethod=simple '
                         f'binddn="{name}" credentials={password}\n')
            (home / "slapd.conf").write_text(text)
        self.provider = self.start("db1")
        self.change("dn: dc=example,dc=test\nobjectClass: dcObject\nobjectClass: organization\n"
                    "dc: example\no: Example\n\n" +
                    "\n".join(self.entry(listed(i)) for i in range(SENDERS)))
        self.start("db2")
        wait_until(lambda: "spam-1@" in self.search("db2", "(mail=spam-1@bulk.example)"), "replication")

    def start(self, host):
        process = self.programs.start(
            host, "usr/sbin/slapd", "-f", self.programs.home / f"ldap-{host}/slapd.conf", "-h",
            f"ldap://{HOSTS[host]}:3890", "-d", "0")
        wait_until(lambda: self.search(host, "(objectClass=*)", "base", ""), "slapd answers")
        return process

    def search(self, host, text, scope="sub", base="dc=example,dc=test"):
        return self.programs.run("mx", "usr/bin/ldapsearch", "-x", "-LLL", "-H",
                                 f"ldap://{HOSTS[host]}:3890", "-s", scope, "-b", base,
                                 text, "mail")

    @staticmethod
    def entry(address):
        return (f"dn: cn={address},dc=example,dc=test\nobjectClass: inetOrgPerson\n"
                f"cn: {address}\nsn: x\nmail: {address}\ndescription: REJECT listed\n")

    def change(self, text):
        name, password = self.ADMIN
        self.programs.run("mx", "usr/bin/ldapadd", "-x", "-H", f"ldap://{HOSTS['db1']}:3890", "-D",
                          name, "-w", password, text=text)

    def add(self, address):
        self.change(self.entry(address))

    def kill(self):
        self.programs.end(self.provider)
        return lambda: setattr(self, "provider", self.start("db1"))


class Daemons:
    """A kwlookupd on each of two hosts."""

    def __init__(self, programs, program, arrangement, cached):
        self.programs, self.program, self.processes = programs, program, {}
        section = arrangement.SECTION
        if section:
            section += "ConnectTimeout = 1s\nTimeout = 1s\nRetryInterval = 5s\n"
        if cached:
            section += (f"CacheTime = {CACHE_TIME}s\nNegativeCacheTime = {CACHE_TIME}s\n"
                        "StaleTime = 1h\n")
        for host in DAEMONS:
            home = programs.home / host
            config = (f"[kwlookupd]\nControl = @/control\n[list blocked]\nObjects = "
                      f'"{arrangement.ITEM}"\nSearch = {arrangement.SEARCH}\nSettle = 500ms\n[door maps]\n'
                      f"Protocol = socketmap\nAddress = {HOSTS[host]}:{DOOR}\n"
                      f"AllowFrom = 192.0.2.0/24\n{section}")
            (home / "kwlookupd.conf").write_text(config.replace("@", str(home)))
            (home / "kwlookupd.conf").chmod(0o600)
            self.start(host)

    def start(self, host):
        self.processes[host] = self.programs.start(
            host, self.program, "--config", self.programs.home / host / "kwlookupd.conf",
            nobody=False)
        wait_until(lambda: ask_once(HOSTS[host], "nobody@example.test") == "NOTFOUND ",
                   f"the daemon of {host} answers")

    def kill(self, host):
        self.programs.end(self.processes.pop(host))

    def stop(self):
        for process in self.processes.values():
            self.programs.end(process, terminate=True)


class Maps:
    """A connection to a door, or to HAProxy before it."""

    def __init__(self, address):
        self.socket = socket.create_connection((address, DOOR), timeout=LIMIT)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def ask(self, text):
        request = f"blocked {text}".encode()
        self.socket.sendall(b"%d:%s," % (len(request), request))
        answer = b""
        while not answer.endswith(b","):
            part = self.socket.recv(4096)
            if not part:
                raise ConnectionError("closed")
            answer += part
        return answer.split(b":", 1)[1][:-1].decode()

    def close(self):
        self.socket.close()


def ask_once(address, text):
    maps = Maps(address)
    try:
        return maps.ask(text)
    finally:
        maps.close()


class Proxy:
    """HAProxy beside Postfix, as docs/scaling.md shows it."""

    def __init__(self, programs, config):
        self.path = programs.home / "haproxy.sock"
        file = programs.home / "haproxy.cfg"
        file.write_text(config.replace("/run/haproxy/admin.sock", str(self.path)))
        programs.start("mx", "usr/sbin/haproxy", "-db", "-f", file, nobody=False)

    def rows(self):
        """What it tells of the daemons."""
        with socket.socket(socket.AF_UNIX) as client:
            client.connect(str(self.path))
            client.sendall(b"show stat\n")
            text = b"".join(iter(lambda: client.recv(65536), b"")).decode()
        return [line.split(",") for line in text.splitlines() if line.startswith("kwlookupd,kw")]

    def wait_for(self, names):
        """Waits until it gives clients to these daemons and no others."""
        wait_until(lambda: [row[1] for row in self.rows() if row[17].startswith("UP")] == list(names),
                   f"HAProxy gives clients to {names}")

    def wait_for_clients(self, name):
        """Waits until this daemon has clients."""
        wait_until(lambda: any(row[1] == name and int(row[4]) > 0 for row in self.rows()),
                   f"{name} has clients")


def start_postfix(programs):
    root, home = programs.root, programs.home
    queue = home / "queue"
    for name in ("active bounce corrupt defer deferred flush hold incoming maildrop pid private public "
                 "saved trace data").split():
        (queue / name).mkdir(parents=True)
        if name != "pid":
            os.chown(queue / name, 65534, 65534)
    lib = root / "usr/lib/postfix"
    (home / "postfix").mkdir()
    (home / "postfix/main.cf").write_text(f"""compatibility_level = 3.6
myhostname = mx.example.test
mail_owner = nobody
setgid_group = mail
default_privs = daemon
queue_directory = {queue}
data_directory = {queue}/data
daemon_directory = {lib}/sbin
shlib_directory = {lib}
command_directory = {root}/usr/sbin
meta_directory = {root}/etc/postfix
import_environment = MAIL_CONFIG LANG=C {programs.libraries}
maillog_file = {home}/maillog
maillog_file_prefixes = {home}
mydestination = example.test
mynetworks = 127.0.0.2/32
inet_protocols = ipv4
alias_maps =
local_recipient_maps =
notify_classes =
smtpd_peername_lookup = no
smtpd_delay_reject = no
smtpd_client_connection_count_limit = 0
smtpd_soft_error_limit = 1000000
smtpd_hard_error_limit = 1000000
smtpd_junk_command_limit = 1000000
smtpd_sender_restrictions = check_sender_access socketmap:inet:{HOSTS["mx"]}:{DOOR}:blocked
smtpd_relay_restrictions = permit_mynetworks, reject_unauth_destination
""")
    (home / "postfix/master.cf").write_text(f"""{HOSTS["mx"]}:{SMTP} inet n - n - - smtpd
cleanup unix n - n - 0 cleanup
rewrite unix - - n - - trivial-rewrite
anvil unix - - n - 1 anvil
postlog unix-dgram n - n - 1 postlogd
""")
    words = programs.words("mx", ["usr/lib/postfix/sbin/master", "-c", home / "postfix", "-d"], False)
    words[words.index("--pdeathsig=KILL")] = "--pdeathsig=TERM"  # it ends its children then
    master = subprocess.Popen(words, stdin=subprocess.DEVNULL)
    wait_until(lambda: Smtp().close() or True, "Postfix answers")
    return master


class Smtp:
    def __init__(self):
        self.socket = socket.create_connection((HOSTS["mx"], SMTP), timeout=LIMIT)
        self.file = self.socket.makefile("rb")
        if not self.file.readline().startswith(b"220"):
            raise ConnectionError("no greeting")
        self.say("HELO client.test")

    def say(self, command):
        self.socket.sendall(command.encode() + b"\r\n")
        reply = self.file.readline()
        if not reply:
            raise ConnectionError("closed")
        return reply.decode()

    def close(self):
        self.file.close()
        self.socket.close()


class Load(threading.Thread):
    """Asks Postfix about senders until it is stopped. Every answer must be right, or temporary."""

    def __init__(self, stop):
        super().__init__()
        self.stop, self.random = stop, random.Random()
        self.right, self.temporary, self.longest, self.wrong = 0, [], 0, []
        self.start()

    def run(self):
        try:
            self.work()
        except Exception as fault:  # the main thread shows it
            self.wrong.append(repr(fault))

    def work(self):
        smtp = Smtp()
        while not self.stop.is_set():
            number = self.random.randrange(SENDERS)
            is_listed = self.random.random() < 0.5
            begin = time.monotonic()
            reply = smtp.say(f"MAIL FROM:<{(listed if is_listed else clean)(number)}>")
            end = time.monotonic()
            self.longest = max(self.longest, end - begin)
            if reply.startswith("4"):
                self.temporary.append(end)
                time.sleep(0.01)
            elif reply.startswith("554 5.7.1" if is_listed else "250"):
                self.right += 1
            else:
                self.wrong.append(f"listed: {is_listed}: {reply}")
            smtp.say("RSET")
            time.sleep(0.001)
        smtp.close()


def under_load(ready, event, recovered):
    """Waits until it is `ready` under load, does `event`, and waits until it has `recovered`. Returns
    what `event` returned and what senders saw of it."""
    stop = threading.Event()
    loads = [Load(stop) for _ in range(SESSIONS)]
    try:
        wait_until(lambda: all(load.right > 100 or load.wrong for load in loads), "there is load")
        ready()
        begin = time.monotonic()
        undo = event()
        recovered()
        # Nothing temporary for a second, and each session has got answers.
        wait_until(lambda: time.monotonic() - max(
            [begin] + [at for load in loads for at in load.temporary]) > 1, "senders get answers")
        marks = [load.right for load in loads]
        wait_until(lambda: any(load.wrong for load in loads) or
                   all(load.right > mark + 20 for load, mark in zip(loads, marks)), "all sessions go on")
    finally:
        stop.set()
        for load in loads:
            load.join()
    wrong = [text for load in loads for text in load.wrong]
    check(not wrong, f"wrong answers: {wrong[:5]}")
    temporary = [at for load in loads for at in load.temporary]
    lasted = max(temporary) - begin if temporary else 0
    return undo, lasted, max(load.longest for load in loads)


def as_time(seconds):
    return f"{seconds:.1f} s" if seconds >= 0.1 else f"{seconds * 1000:.0f} ms"


def show(seen):
    _, lasted, longest = seen
    if lasted:
        return f"451 for {as_time(lasted)}"
    return f"no 451, longest {longest:.1f} s" if longest >= 0.1 else "no 451"


def cost(address):
    """The median time of an answer in microseconds, one question at a time."""
    maps = Maps(address)
    medians = []
    for _ in range(ROUNDS):
        times = []
        for i in range(QUESTIONS):
            begin = time.perf_counter()
            answer = maps.ask(listed(i % SENDERS))
            times.append(time.perf_counter() - begin)
            check(answer == "OK REJECT listed", answer)
        medians.append(statistics.median(times))
    maps.close()
    return f"{min(medians) * 1e6:.0f} µs"


def staleness(arrangement, number):
    """The time until a change is answered, after it was asked before."""
    address = f"new-{number}@bulk.example"
    for host in DAEMONS:
        check(ask_once(HOSTS[host], address) == "NOTFOUND ", "a new address is not found")
    arrangement.add(address)
    begin = time.monotonic()
    wait_until(lambda: all(ask_once(HOSTS[host], address) == "OK REJECT listed" for host in DAEMONS),
               "both daemons answer with the change")
    return as_time(time.monotonic() - begin)


def attempt(arrangement, cached, programs, program, proxy):
    daemons = Daemons(programs, program, arrangement, cached)
    proxy.wait_for(DAEMONS)
    row = [arrangement.NAME + ("" if not cached else ", with a cache"),
           arrangement.KEEPS if not cached else "answers",
           arrangement.STALE if not cached else
           "`CacheTime`, and `StaleTime` while no server answers",
           staleness(arrangement, int(cached)), cost(HOSTS["kw1"]), cost(HOSTS["mx"])]

    seen = under_load(lambda: proxy.wait_for_clients("kw1"), lambda: daemons.kill("kw1"),
                      lambda: proxy.wait_for(["kw2"]))
    row.append(show(seen))
    daemons.start("kw1")
    proxy.wait_for(DAEMONS)

    seen = under_load(lambda: proxy.wait_for_clients("kw2"), lambda: programs.net.plug("kw2", "down"),
                      lambda: proxy.wait_for(["kw1"]))
    row.append(show(seen))
    programs.net.plug("kw2", "up")
    proxy.wait_for(DAEMONS)

    if arrangement.IS_REPLICATED:
        if cached:
            for host in DAEMONS:
                for i in range(SENDERS):
                    ask_once(HOSTS[host], listed(i)), ask_once(HOSTS[host], clean(i))
        seen = under_load(lambda: None, arrangement.kill, lambda: time.sleep(5))
        if cached:
            check(seen[1] == 0, f"kept answers are not used: {show(seen)}")
        row.append(show(seen))
        seen[0]()
    else:
        row.append("-")
    daemons.stop()
    print("| " + " | ".join(row) + " |", flush=True)


def memory(programs, program, tool, lines, kind):
    """What the daemon with a list of so many lines needs."""
    home = programs.home / "kw1"
    text = home / "many"
    with open(text, "w") as file:
        file.writelines(f"address-{i}@domain-{i % 5003}.example REJECT\n" for i in range(lines))
    item = f"file:{text}"
    if kind != "file":
        run(tool, "build", kind, text, home / "table")
        item = f"{kind}:Database={home}/table|$s"
    size = os.stat(text if kind == "file" else home / "table").st_size
    config = home / "kwlookupd.conf"
    config.write_text(f"[list blocked]\nObjects = {item}\n[door maps]\nProtocol = socketmap\n"
                      f"Address = {HOSTS['kw1']}:{DOOR}\nAllowFrom = 192.0.2.0/24\n")
    process = programs.start("kw1", program, "--config", config, nobody=False)
    wait_until(lambda: ask_once(HOSTS["kw1"], "address-7@domain-7.example") == "OK REJECT", "it answers")
    status = Path(f"/proc/{process.pid}/status").read_text()
    resident = int(status.split("VmRSS:")[1].split()[0]) // 1024
    programs.end(process)
    for name in ("many", "table"):
        (home / name).unlink(missing_ok=True)
    print(f"| `{kind}` | {lines:,} | {size >> 20} MiB | {resident} MiB |", flush=True)


def main():
    if os.geteuid() != 0:
        print("only root can start Postfix")
        return 77
    if os.environ.get("SCALE_OUT") != "own namespace":
        os.environ["SCALE_OUT"] = "own namespace"
        os.execvp("unshare", ["unshare", "-n", sys.executable, *sys.argv])
    program, tool, servers = (Path(word).resolve() for word in sys.argv[1:4])
    wanted = sys.argv[4:]
    page = Path(__file__).resolve().parents[2] / "docs/scaling.md"
    config = page.read_text().split("```haproxy\n", 1)[1].split("```", 1)[0]
    net = Net()
    with tempfile.TemporaryDirectory() as name:
        home = Path(name)
        home.chmod(0o755)
        for host in DAEMONS:
            (home / host).mkdir()
        programs = Programs(net, servers, home)
        postfix = None
        try:
            proxy = Proxy(programs, config)
            postfix = start_postfix(programs)
            print("| data | the daemon keeps | stale for | change seen after | answer | through HAProxy | "
                  "daemon killed | its cable pulled | server killed |")
            print("|---|---|---|---|---|---|---|---|---|", flush=True)
            for kind in (Files, Redis, Postgres, Ldap):
                if wanted and kind.__name__ not in wanted:
                    continue
                arrangement = kind(programs)
                attempt(arrangement, False, programs, program, proxy)
                if kind.IS_REPLICATED:
                    attempt(arrangement, True, programs, program, proxy)
            if not wanted or "Memory" in wanted:
                print("\n| list | entries | length of the file | memory of the daemon |")
                print("|---|---|---|---|", flush=True)
                for kind, lines in (("file", 1000000), ("cdb", 1000000), ("cdb", 3000000)):
                    memory(programs, program, tool, lines, kind)
        except BaseException:
            for log in sorted(home.glob("log-*")) + sorted(home.glob("maillog")):
                lines = log.read_text(errors="replace").splitlines()
                print(f"--- {log.name}", *lines[-20:], sep="\n", file=sys.stderr)
            raise
        finally:
            if postfix:
                postfix.terminate()
                postfix.wait()
            programs.end_all()
            net.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
