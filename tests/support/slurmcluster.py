#!/usr/bin/env python3
"""A Slurm cluster of a test's own on this machine: real daemons, several nodes on one host, without root or systemd.

As a module: `with Cluster(nodes=2) as cluster:`, with cluster.environment for whoever runs Slurm's commands. As a program
it holds a cluster until its standard input ends:

    slurmcluster.py [--nodes N] [--processors N] [--array-size N]

prints SLURM_CONF=FILE once the nodes are up, or "missing: WHY" where there is no Slurm, or it doesn't run, which is no failure.

Needs slurm-wlm and munge (script/bootstrap --cluster). The daemons run in the foreground, die with this process, and
listen on this machine alone where its name leads there.
"""
import argparse
import ctypes
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

PATIENCE = 30  # seconds that any one wait may take
KILL_WAIT = 2
SEARCHED = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"
PR_SET_PDEATHSIG = 1


def missing():
    """Why there can be no cluster here; empty where there can."""
    names = [name for name in ("munged", "slurmctld", "slurmd", "sbatch") if not shutil.which(name, path=SEARCHED)]
    return f"found no {', '.join(names)}; script/bootstrap --cluster installs them" if names else ""


def die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def is_gone(process):
    try:
        os.kill(process, 0)
        return pathlib.Path(f"/proc/{process}/stat").read_text().rpartition(")")[2].split()[0] == "Z"
    except OSError:
        return True


class Unavailable(RuntimeError):
    """A daemon doesn't run on this machine, such as without control groups."""


class Cluster:
    def __init__(self, nodes=2, processors=4, array_size=1001):
        self.names = [f"n{i + 1}" for i in range(nodes)]
        self.processors = processors
        self.array_size = array_size
        # Unix sockets have short names.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="slurm-", dir="/tmp"))
        self.conf = self.folder / "slurm.conf"
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("SLURM", "SBATCH_", "SQUEUE_", "SCANCEL_", "SINFO_"))}
        self.environment.update(SLURM_CONF=str(self.conf), PATH=SEARCHED)
        self.daemons = {}

    def __enter__(self):
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *unused):
        self.stop()

    def run(self, *words):
        return subprocess.run(words, env=self.environment, capture_output=True, text=True, timeout=PATIENCE).stdout

    def wait(self, what, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                raise RuntimeError(f"{what} within {PATIENCE} s; see {self.folder}")
            time.sleep(0.05)

    # The daemons.

    def launch(self, name, *words):
        with open(self.folder / f"{name}.out", "ab") as said:
            self.daemons[name] = subprocess.Popen(
                [shutil.which(words[0], path=SEARCHED), *words[1:]], env=self.environment, stdin=subprocess.DEVNULL,
                stdout=said, stderr=said, cwd=self.folder, preexec_fn=die_with_parent, start_new_session=True)

    def end(self, name, number):
        daemon = self.daemons.pop(name, None)
        if not daemon:
            return
        daemon.send_signal(number)
        try:
            daemon.wait(10)
        except subprocess.TimeoutExpired:
            daemon.kill()
            daemon.wait()

    def start_controller(self):
        self.launch("controller", "slurmctld", "-D", "-f", str(self.conf))

    def start_node(self, name):
        (self.folder / "spool" / name).mkdir(parents=True, exist_ok=True)
        self.launch(name, "slurmd", "-D", "-N", name, "-f", str(self.conf))

    def start(self):
        (self.folder / "state").mkdir()
        key = self.folder / "munge.key"
        key.touch(0o600)
        key.write_bytes(os.urandom(1024))
        self.write_configuration()
        self.launch("munge", "munged", "--foreground", "--force", "--num-threads=2", f"--key-file={key}",
                    f"--socket={self.folder}/munge.sock", f"--pid-file={self.folder}/munge.pid",
                    f"--log-file={self.folder}/munge.log", f"--seed-file={self.folder}/munge.seed",
                    "--origin=127.0.0.1")
        self.wait("munge did not start", (self.folder / "munge.sock").exists)
        self.start_controller()
        for name in self.names:
            self.start_node(name)
        self.wait("the nodes were not up", lambda: self.are_up(self.names) or self.require_daemons())

    def require_daemons(self):
        """Raises where a daemon has ended: there is no use in waiting for it."""
        for name, daemon in self.daemons.items():
            if daemon.poll() is not None:
                said = (self.folder / f"{name}.out").read_text(encoding="utf-8", errors="replace").splitlines()
                why = [line for line in said if "error" in line.lower()] or said or ["it said nothing"]
                raise Unavailable(f"{name} of the cluster ended: {'; '.join(why[:3])}")

    def stop(self):
        if "controller" in self.daemons:
            self.run("scancel", "--user", str(os.getuid()))
        for name in ["controller", *self.names]:
            self.end(name, signal.SIGTERM if name == "controller" else signal.SIGKILL)
        for process in self.processes_of():
            os.kill(process, signal.SIGKILL)
        self.end("munge", signal.SIGTERM)
        shutil.rmtree(self.folder, ignore_errors=True)

    def write_configuration(self):
        host = socket.gethostname().split(".")[0]
        try:
            is_local = socket.gethostbyname(socket.gethostname()).startswith("127.")
        except OSError:
            is_local = False
        # The kernel gives ports that are free now; all are held until each is known.
        held = [socket.socket() for _ in range(len(self.names) + 1)]
        for each in held:
            each.bind(("127.0.0.1", 0))
        ports = [each.getsockname()[1] for each in held]
        for each in held:
            each.close()
        user = self.run("id", "-un").strip()
        lines = [f"ClusterName=test{os.getpid()}", f"SlurmctldHost={host}(127.0.0.1)", f"SlurmctldPort={ports[0]}",
                 f"SlurmUser={user}", f"SlurmdUser={user}", "AuthType=auth/munge", "CredType=cred/munge",
                 # A task that is requeued begins once the credential of its first attempt has run out.
                 f"AuthInfo=socket={self.folder}/munge.sock,cred_expire=5",
                 f"StateSaveLocation={self.folder}/state", f"SlurmdSpoolDir={self.folder}/spool/%n",
                 f"SlurmctldPidFile={self.folder}/controller.pid", f"SlurmdPidFile={self.folder}/%n.pid",
                 f"SlurmctldLogFile={self.folder}/controller.log", f"SlurmdLogFile={self.folder}/%n.log",
                 "MailProg=/bin/true", "MpiDefault=none",
                 # No control groups: they take root.
                 "ProctrackType=proctrack/linuxproc", "TaskPlugin=task/none",
                 "JobAcctGatherType=jobacct_gather/none", "AccountingStorageType=accounting_storage/none",
                 "SelectType=select/cons_tres", "SelectTypeParameters=CR_CPU",
                 # Nodes may claim more processors than the machine has.
                 "SlurmdParameters=config_overrides",
                 # What ends makes room at once, and what is lost is noticed soon.
                 "SchedulerType=sched/backfill",
                 "SchedulerParameters=batch_sched_delay=0,sched_min_interval=0,sched_interval=1,bf_interval=1",
                 f"ReturnToService=2\nSlurmdTimeout=5\nKillWait={KILL_WAIT}\nMessageTimeout=5\nMinJobAge=60",
                 f"MaxArraySize={self.array_size}"]
        if is_local:
            lines.append("CommunicationParameters=NoInAddrAny,NoCtldInAddrAny")
        lines += [f"NodeName={name} NodeHostname={host} NodeAddr=127.0.0.1 Port={port} CPUs={self.processors}"
                  for name, port in zip(self.names, ports[1:])]
        lines.append("PartitionName=test Nodes=ALL Default=YES MaxTime=INFINITE State=UP")
        self.conf.write_text("\n".join(lines) + "\n")

    def are_up(self, names):
        states = dict(line.split("=") for line in self.run("sinfo", "-h", "-N", "-o", "%N=%T").split())
        return all(states.get(name) in ("idle", "mixed", "allocated", "completing") for name in names)

    # What may happen to a cluster.

    def processes_of(self, node=None):
        """The step managers and tasks of a node, or of all. A step manager is told by the tasks that it has started."""
        managers, tasks, parents = [], [], set()
        for entry in pathlib.Path("/proc").iterdir():
            try:
                process = int(entry.name)
                environment = (entry / "environ").read_bytes().split(b"\0")
                program = os.readlink(entry / "exe")
                parent = int((entry / "stat").read_text().rpartition(")")[2].split()[1])
            except (OSError, ValueError):
                continue
            if f"SLURM_CONF={self.conf}".encode() not in environment or process == os.getpid():
                continue
            if "slurmstepd" in program:
                managers.append(process)
            elif any(variable.startswith(b"SLURMD_NODENAME=") for variable in environment):
                if node is None or f"SLURMD_NODENAME={node}".encode() in environment:
                    tasks.append(process)
                    parents.add(parent)
        return [process for process in managers if node is None or process in parents] + tasks

    def fail(self, node):
        """The node loses its power: nothing is reported."""
        lost = self.processes_of(node)
        self.end(node, signal.SIGKILL)
        for process in lost + self.processes_of(node):
            try:
                os.kill(process, signal.SIGKILL)
            except OSError:
                pass
        self.wait("the tasks did not end", lambda: all(is_gone(process) for process in lost))

    def restore(self, node):
        self.start_node(node)

    def stop_controller(self):
        self.end("controller", signal.SIGTERM)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--nodes", type=int, default=2)
    parser.add_argument("--processors", type=int, default=4)
    parser.add_argument("--array-size", type=int, default=1001)
    arguments = parser.parse_args()
    why = missing()
    if why:
        print(f"missing: {why}", flush=True)
        return
    try:
        with Cluster(arguments.nodes, arguments.processors, arguments.array_size) as cluster:
            print(f"SLURM_CONF={cluster.conf}", flush=True)
            sys.stdin.read()
    except Unavailable as failure:
        print(f"missing: {failure}", flush=True)


if __name__ == "__main__":
    main()
