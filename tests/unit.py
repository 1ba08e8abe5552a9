#!/usr/bin/python3
"""hqosd as systemd runs it, without systemd: it inherits its socket, reports to its manager, logs to
the journal, and lives with the system calls that its unit allows.
Usage: unit.py BIN_DIR UNIT SOURCE_DIR"""
import atexit
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time



def allowed_calls(names):
    """The system calls in a list of names and of sets of them."""
    for name in names:
        if name.startswith("@"):
            listing = subprocess.check_output(["systemd-analyze", "syscall-filter", name], text=True)
            yield from allowed_calls(re.findall(r"^ {4}([@\w-]+)$", listing, re.M))
        else:
            yield name


def run_confined(unit, *command):
    """Runs a command with the system calls and families that a unit allows. Stricter than the unit,
    where a call that is not allowed fails: one such call ends it."""
    import seccomp
    settings = re.findall(r"^(SystemCallFilter|RestrictAddressFamilies)=(~?)(.*)",
                          open(unit).read(), re.M)
    calls, families = set(), []
    for name, isRemoved, value in settings:
        if name == "RestrictAddressFamilies":
            families += [getattr(socket, family) for family in value.split()]
        elif isRemoved:
            calls -= set(allowed_calls(value.split()))
        else:
            calls |= set(allowed_calls(value.split()))
    assert families and "write" in calls and "socket" in calls and "setuid" not in calls
    calls.remove("socket")
    limit = seccomp.SyscallFilter(seccomp.KILL_PROCESS)
    for family in families:
        limit.add_rule(seccomp.ALLOW, "socket", seccomp.Arg(0, seccomp.EQ, family))
    for call in calls:
        if seccomp.resolve_syscall(seccomp.Arch(), call) != -1:
            limit.add_rule(seccomp.ALLOW, call)
    limit.load()
    os.execv(command[0], command)


if sys.argv[1] == "--confined":
    run_confined(*sys.argv[2:])
bin_dir, unit, source = map(os.path.realpath, sys.argv[1:])
examples = source + "/examples"
hqosd, hqosctl = bin_dir + "/hqosd", bin_dir + "/hqosctl"
temporary = tempfile.TemporaryDirectory()
directory = temporary.name
endpoint = directory + "/lip-80000000-1174"
os.environ.update(HQOS_RUNTIME_DIR=directory, HQOS_STATE_DIR=directory)


def log():
    return open(directory + "/log").read()


def start(*command, **options):
    with open(directory + "/log", "w") as file:
        process = subprocess.Popen(command, stderr=file, **options)
    atexit.register(process.kill)
    deadline = time.monotonic() + 10
    sockets = f"/proc/{process.pid}/net/unix"  # of its network namespace
    while process.poll() is None and time.monotonic() < deadline:
        if re.search(f" 00010000 .* {endpoint}$", open(sockets).read(), re.M):  # listens
            return process
        time.sleep(0.005)
    raise AssertionError(log())


def stop(process):
    ask("sp show")  # until then it may not heed signals
    process.terminate()
    assert process.wait(10) == 0, log()


def ask(line):
    done = subprocess.run([hqosctl, "--timeout", "10", *line.split()], capture_output=True, text=True)
    assert done.returncode == 0, (line, done.stderr, log())
    return done.stdout


def inherits_its_socket():
    if not shutil.which("systemd-socket-activate"):
        return "no systemd-socket-activate"
    activate = ["systemd-socket-activate", "-l", endpoint,
                "-E", "HQOS_RUNTIME_DIR", "-E", "HQOS_STATE_DIR"]
    process = start(*activate, "--seqpacket", hqosd)
    begin = time.monotonic()
    ask("sp show")
    print(f"first answer of an activated service: {1000 * (time.monotonic() - begin):.0f} ms", flush=True)
    stop(process)
    os.unlink(endpoint)  # which it has left to its owner
    wrong = start(*activate, hqosd)
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(endpoint)
        assert wrong.wait(10) == 1 and "cannot listen at the inherited socket" in log(), log()
    os.unlink(endpoint)


def reports_to_its_manager():
    manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    manager.bind(directory + "/manager")
    manager.settimeout(10)
    process = start(hqosd, env={**os.environ, "NOTIFY_SOCKET": directory + "/manager",
                                "WATCHDOG_USEC": "200000"})
    news = [manager.recv(100) for _ in range(3)]
    assert news == [b"READY=1", b"WATCHDOG=1", b"WATCHDOG=1"], news
    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as client:
        client.connect(endpoint)
        ask("sp show")  # the service has taken both connections
        process.terminate()
        while (message := manager.recv(100)) != b"STOPPING=1":
            assert message == b"WATCHDOG=1", message
        client.send(b"late")
        assert client.recv(1000), "a client got no answer"
    assert process.wait(10) == 0, log()


def logs_levels_to_the_journal():
    stop(start("/bin/sh", "-c", "JOURNAL_STREAM=$(stat -Lc %d:%i /dev/stderr) exec "
               f"{hqosd} --counters '/no\n<0>file'"))
    assert re.fullmatch(r"<4>cannot read counters from /no <0>file: .*\n<6>listening at .*\n<6>ended\n",
                        log()), log()


def confined(*before, capabilities="-all"):
    """hqosd's command in its unit: as another user if this is root, with its capabilities and calls."""
    sets = [f"--{one}={capabilities}" for one in ("inh-caps", "ambient-caps", "bounding-set")]
    user = ["--reuid", "65534", "--regid", "65534", "--clear-groups"]
    for file in [""] + os.listdir(directory) if os.geteuid() == 0 else []:
        os.chown(f"{directory}/{file}", 65534, 65534)
    return [*before, "setpriv", "--no-new-privs", *sets, *(user if os.geteuid() == 0 else []),
            sys.executable, os.path.realpath(__file__), "--confined", unit, hqosd]


def why_not_confined():
    try:
        import seccomp
    except ImportError:
        return "no python3-seccomp"
    if not shutil.which("systemd-analyze"):
        return "no systemd-analyze"
    if subprocess.run([*confined(), "--version"], stdout=subprocess.DEVNULL).returncode:
        return "no other user can run the programs here"
    return None


def lives_with_its_filter():
    if why := why_not_confined():
        return why
    process = start(*confined())
    ask(f"--batch {examples}/tree.batch")
    ask("apply sp gold --interface lo --direction both")
    ask(f"config apply {examples}/edge.toml --merge")
    ask("metrics")
    stop(process)
    with open(directory + "/hqosd.db", "r+b") as store:  # one to salvage
        store.seek(4096)
        store.write(b"\xff" * 64)
    process = start(*confined())
    ask("config history")
    stop(process)
    assert "damaged" in log(), log()


def enforces_with_its_filter():
    if why := why_not_confined():
        return why
    if why := subprocess.check_output(
            ["/bin/sh", "-c", f". {source}/scripts/namespaces.sh; why_no_namespaces"], text=True):
        return "nothing can be enforced here: " + why.strip()
    user = [] if os.geteuid() == 0 else ["--map-current-user", "--keep-caps"]
    namespace = ["unshare", "--net", *user, "sh", "-ec", 'ip link set lo up; exec "$@"', "sh"]
    process = start(*confined(*namespace, capabilities="-all,+net_admin"), "--enforce")
    ask("metrics")
    assert ask("diag --interface lo").splitlines()[1].split()[5] == "yes", log()
    ask("unapply sp gold --interface lo --direction both")
    stop(process)


skipped = [why for test in (inherits_its_socket, reports_to_its_manager, logs_levels_to_the_journal,
                            lives_with_its_filter, enforces_with_its_filter) if (why := test())]
if skipped:
    print("skipped: " + "; ".join(skipped))
    sys.exit(77)
