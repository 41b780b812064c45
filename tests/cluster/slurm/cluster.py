"""A Slurm cluster of its own on this machine: munge, a controller, and nodes that can be killed.

Everything is below one folder. Each node has a name and processes of its own: it is a namespace,
and falls as a machine does when its power fails, with everything that runs on it.
"""

import contextlib
import os
import pathlib
import signal
import subprocess
import time

CONFIGURATION = """\
ClusterName=trial
SlurmctldHost=controller(127.0.0.1)
SlurmUser=root
SlurmdUser=root
AuthInfo=socket={folder}/munge.socket,cred_expire=5
StateSaveLocation={folder}/state
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/%n/slurmd.pid
SlurmdSpoolDir={folder}/%n/spool
TaskProlog={folder}/task-prolog
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerParameters=bf_interval=1,sched_interval=1,sched_min_interval=100000
SlurmdTimeout=2
MessageTimeout=3
KillWait=10
ReturnToService=2
{nodes}
PartitionName=all Nodes=ALL Default=YES State=UP
"""
NODE = "NodeName={name} NodeHostname={name} NodeAddr=127.0.0.1 Port={port} CPUs=2"

# As sites do it: what a job writes to its temporary folder stays on the node.
TASK_PROLOG = """\
#!/bin/sh
echo "export SLURM_TMPDIR={folder}/$SLURMD_NODENAME/tmp"
"""


def wait_until(condition, what, seconds=60):
    """Returns what `condition` gives as soon as that is true."""
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"waited {seconds} s: {what}")
        time.sleep(0.05)
    return result


def child_of(parent):
    return int(pathlib.Path(f"/proc/{parent}/task/{parent}/children").read_text().split()[0])


def namespace_of(pid):
    try:
        return os.readlink(f"/proc/{pid}/ns/pid")
    except OSError:
        return None  # it has just ended


def state_of(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(") ")[2][0]
    except OSError:
        return "Z"


class Node:
    def __init__(self, cluster, name):
        self.cluster, self.name = cluster, name
        self.folder = cluster.folder / name
        self.temp = self.folder / "tmp"
        for folder in (self.temp, self.folder / "spool"):
            folder.mkdir(parents=True)
        self.process = None

    def start(self):
        # The shell is the first process of the node, which has to reap those that lose their parent.
        command = 'hostname "$1" && slurmd -D -N "$1"; exit $?'
        self.process = self.cluster.daemon(
            self.name, "unshare", "--fork", "--pid", "--kill-child", "--mount-proc", "--uts",
            "sh", "-c", command, "sh", self.name)

    def kill(self):
        """Kills every process of the node, by SIGKILL; they are gone afterwards."""
        os.kill(child_of(self.process.pid), signal.SIGKILL)
        self.process.wait()

    def freeze(self):
        """Stops every process of the node; thaw lets them go on."""
        wait_until(self._stop_more, f"{self.name} stands still")

    def _stop_more(self):
        """Whether all were stopped already; else it stops those that others have started meanwhile."""
        moving = [pid for pid in self.processes() if state_of(pid) not in "TZ"]
        for pid in moving:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGSTOP)
        return not moving

    def thaw(self):
        for pid in self.processes():
            os.kill(pid, signal.SIGCONT)

    def processes(self):
        namespace = os.readlink(f"/proc/{child_of(self.process.pid)}/ns/pid")
        return [int(pid) for pid in filter(str.isdigit, os.listdir("/proc"))
                if namespace_of(pid) == namespace]

    def is_down(self):
        return "DOWN" in self.cluster.run("scontrol", "-o", "show", "node", self.name)


class Cluster:
    def __init__(self, folder, nodes):
        self.folder = pathlib.Path(folder)
        # More than the failures of nodes here can use up.
        self.environment = dict(os.environ, SLURM_CONF=str(self.folder / "slurm.conf"),
                                PDFCONVERT_RESTARTS="20")
        self.nodes = [Node(self, f"node{number}") for number in range(1, nodes + 1)]
        self._configure()

    def _configure(self):
        nodes = "\n".join(NODE.format(name=node.name, port=7000 + number)
                          for number, node in enumerate(self.nodes))
        (self.folder / "slurm.conf").write_text(
            CONFIGURATION.format(folder=self.folder, nodes=nodes))
        prolog = self.folder / "task-prolog"
        prolog.write_text(TASK_PROLOG.format(folder=self.folder))
        prolog.chmod(0o755)
        (self.folder / "state").mkdir()
        key = self.folder / "munge.key"
        key.touch(mode=0o600)
        key.write_bytes(os.urandom(128))

    def daemon(self, name, *command):
        log = open(self.folder / f"{name}.log", "ab")
        with log:
            return subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                    stdout=log, stderr=log)

    def run(self, *command):
        return subprocess.run(command, env=self.environment, check=True, text=True,
                              stdout=subprocess.PIPE).stdout

    def start(self):
        self._start_munge()
        self.daemon("slurmctld", "slurmctld", "-D")
        for node in self.nodes:
            node.start()
        self.wait_for_nodes()

    def _start_munge(self):
        socket = self.folder / "munge.socket"
        options = (f"--{what}-file={self.folder}/munge.{what}" for what in ("key", "log", "pid"))
        self.daemon("munged", "munged", "--foreground", "--force", f"--socket={socket}", *options,
                    f"--seed-file={self.folder}/munge.random")
        wait_until(socket.exists, "munged answers")

    def wait_for_nodes(self):
        wait_until(self._all_up, "every node is up")

    def _all_up(self):
        states = subprocess.run(["sinfo", "--noheader", "--Node", "--format=%T"], text=True,
                                env=self.environment, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL).stdout.split()
        return len(states) == len(self.nodes) and set(states) <= {"idle", "mixed", "allocated"}
