#!/usr/bin/python3
"""
Whether packaging/kubernetes/job.yaml is a Job, and does what it is meant to:

    kubernetes.py types MODULES WORK
    kubernetes.py shares PDFCONVERT MAKE-SAMPLE

The first has TypeScript compare it with the types of Kubernetes, which lie in MODULES/node_modules;
members that these do not know are errors, too, which a server would only leave out. The second
runs the command of the container once for each of three indexes.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
JOB = pathlib.Path(__file__).resolve().parents[3] / "packaging/kubernetes/job.yaml"
USER = "10001"


def skip(why):
    print("skipped:", why)
    sys.exit(SKIPPED)


try:
    import yaml
except ImportError:
    skip("Python's yaml is not installed (Debian's package python3-yaml)")


def container(job):
    return job["spec"]["template"]["spec"]["containers"][0]


def compare_with_types(job, compiler, work):
    """What TypeScript says against it; empty when nothing."""
    source = work / "job.ts"
    source.write_text('import { IJob } from "kubernetes-models/batch/v1/Job";\n'
                      f"const job: IJob = {json.dumps(job, indent=1)};\nvoid job;\n")
    return subprocess.run(["node", compiler, "--noEmit", "--strict", "--skipLibCheck", source],
                          cwd=work, stdout=subprocess.PIPE, text=True, check=False).stdout


def check_types(modules, work):
    compiler = pathlib.Path(modules) / "node_modules/typescript/bin/tsc"
    if not compiler.exists() or not shutil.which("node"):
        skip("there is no TypeScript; tests/cluster/engines/run installs it")
    work = pathlib.Path(work).resolve()
    work.mkdir(parents=True, exist_ok=True)
    (work / "node_modules").unlink(missing_ok=True)
    (work / "node_modules").symlink_to((pathlib.Path(modules) / "node_modules").resolve())

    job = yaml.safe_load(JOB.read_text())
    complaints = compare_with_types(job, compiler, work)
    assert not complaints, complaints
    shares = next(one["value"] for one in container(job)["env"] if one["name"] == "SHARES")
    assert int(shares) == job["spec"]["completions"], "SHARES are not the completions"

    job["spec"]["backoffLimitPerindex"] = job["spec"].pop("backoffLimitPerIndex")
    assert "backoffLimitPerindex" in compare_with_types(job, compiler, work), \
        "a misspelt member is not noticed"


def with_rights_of_a_pod(program):
    """A user without capabilities, where root runs the tests and such a user may run the command."""
    prefix = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups", "--no-new-privs",
              "--inh-caps=-all", "--bounding-set=-all"]
    if os.geteuid() != 0 or not shutil.which("setpriv"):
        return []
    trial = subprocess.run([*prefix, program, "--version"], capture_output=True, check=False)
    return prefix if trial.returncode == 0 else []


def make_documents(folder, make_sample):
    (folder / "documents").mkdir()
    (folder / "secret").mkdir()
    (folder / "run").mkdir(mode=0o700)
    (folder / "secret/password").write_text("horse\n")
    paths = [folder / f"documents/document {number}.pdf" for number in range(12)]
    for path in paths:
        subprocess.run([make_sample, path, "--pages", "2", "--password", "horse"], check=True,
                       env=dict(os.environ, QT_QPA_PLATFORM="offscreen",
                                XDG_RUNTIME_DIR=folder / "run"))
    (folder / "documents/all.txt").write_text("".join(f"{path}\n" for path in paths))


def files_below(folder):
    return {path.name: path.read_bytes() for path in folder.iterdir()}


def command_of(job, folder):
    """What the container runs, its volumes in a folder."""
    [text] = container(job)["args"]
    for mount in container(job)["volumeMounts"]:
        text = text.replace(mount["mountPath"] + "/", f"{folder}{mount['mountPath']}/")
        text = text.replace(mount["mountPath"] + " ", f"{folder}{mount['mountPath']} ")
    return [*container(job)["command"], text]


def check_shares(program, make_sample):
    job = yaml.safe_load(JOB.read_text())
    with tempfile.TemporaryDirectory(dir="/tmp") as name:  # without blanks, as in a pod
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        make_documents(folder, make_sample)
        for written in ("results", "journals", "session"):
            (folder / written).mkdir()
            (folder / written).chmod(0o777)
        [preparation] = job["spec"]["template"]["spec"]["initContainers"]
        subprocess.run([argument.replace("/session", f"{folder}/session")
                        for argument in preparation["command"]], check=True)
        for index in range(3):
            environment = dict(os.environ, JOB_COMPLETION_INDEX=str(index), SHARES="3", JOBS="1",
                               PATH=f"{pathlib.Path(program).parent}:{os.environ['PATH']}")
            subprocess.run([*with_rights_of_a_pod(program), *command_of(job, folder)], check=True,
                           env=environment, cwd="/", stdout=subprocess.DEVNULL)
        subprocess.run([program, "-q", "--from-list", folder / "documents/all.txt", "-d",
                        folder / "single", "--password-file", folder / "secret/password"],
                       check=True, stdout=subprocess.DEVNULL)
        assert files_below(folder / "results") == files_below(folder / "single"), \
            "the shares make other files than one run"
        assert len(files_below(folder / "journals")) == 3, "not every share has a journal"
        assert not files_below(folder / "session"), "something was left in the session folder"


{"types": check_types, "shares": check_shares}[sys.argv[1]](*sys.argv[2:])
