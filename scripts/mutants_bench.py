"""Builds single mutants of the library and runs the tests that hold them, for scripts/mutants.py."""

import collections
import hashlib
import json
import math
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import threading

import mutations

LAYERS = ("bitstream", "dsp", "interface", "narrowband", "wideband")
DIGESTS = "interface.digest_test"
SLOW = 3  # seconds of processor time


def digest(*parts):
    return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]


def file_digest(name):
    with open(name, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()[:16]


def run(command, folder, processor=None):
    """Exit status and output of a command that may take so many seconds of processor time, which
    other work on the machine does not use up. Status None: it stood still for an hour."""
    if processor is not None:
        command = ["prlimit", f"--cpu={math.ceil(processor)}", *command]
    with subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, start_new_session=True) as process:
        try:
            output = process.communicate(timeout=3600)[0]
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            return None, ""


def processor_seconds():
    """Of all commands that have ended."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class Program:
    """A test program: how to link it, what of the library it holds, how to run it."""

    def __init__(self, build, name, command):
        self.build, self.name = build, name
        # Of what Ninja does after linking, asking the program for its tests, nothing is wanted.
        self.command = shlex.split(command.split(" && ")[1])
        status, trace = run(self.command + ["-o", "/dev/null", "-Wl,--trace"], build.folder)
        assert status == 0, f"{name} does not link: {trace}"
        self.members = set(re.findall(r"src/libquel_\w+\.a\((.*?)\.o\)", trace))
        self.objects = [word for word in self.command if word.endswith(".o")]
        paths = [os.path.join(build.folder, word) for word in self.objects]
        self.state = digest(*self.command, *map(file_digest, paths))
        self.calls, self.seconds, self.lock = [[]], 0.0, threading.Lock()

    def measure(self, folder, most=SLOW):
        """How the program passes on sources without a fault: at once, or a test per process, as
        those need that look at a process as it is at load. What takes longer than `most` has
        infinitely many seconds."""
        path = os.path.join(self.build.folder, "bin", self.name)
        for _ in range(2):
            begin = processor_seconds()
            results = [run([path, *call], folder, most)[0] for call in self.calls]
            self.seconds = processor_seconds() - begin
            if not any(results):
                return
            if self.seconds > 0.9 * most:
                self.seconds = math.inf
                return
            names, suite = [], ""
            for line in run([path, "--gtest_list_tests"], folder)[1].split("\n")[1:]:
                word = line.split("#")[0].rstrip()
                if word.startswith("  "):
                    names.append(suite + word.strip())
                else:
                    suite = word
            self.calls = [[f"--gtest_filter={name}"] for name in names]
        raise SystemExit(f"{self.name} fails on sources without a fault")

    def passes(self, path, folder):
        with self.lock:
            if self.seconds == math.inf:
                self.measure(folder, most=600)
        limit = 5 + 5 * self.seconds  # what takes longer hangs
        return all(run([path, *call, "--gtest_brief=1", "--gtest_break_on_failure"], folder,
                       limit)[0] == 0 for call in self.calls)


class Build:
    """The build of the sources without a fault, and the commands that made it."""

    def __init__(self, tree, folder):
        self.tree, self.folder = tree, folder
        self.commands = {}  # of each object
        with open(os.path.join(folder, "compile_commands.json")) as commands:
            for entry in json.load(commands):
                words = shlex.split(entry["command"])
                self.commands[words[words.index("-o") + 1]] = words
        self.users = collections.defaultdict(set)  # objects by source, headers included
        deps = subprocess.run(["ninja", "-t", "deps"], cwd=folder, check=True, text=True,
                              capture_output=True).stdout
        for line in deps.split("\n"):
            if line and not line.startswith(" "):
                target = line.split(":")[0]
            elif line:
                path = os.path.relpath(os.path.join(folder, line.strip()), tree)
                self.users[path].add(target)
        self.programs = []
        targets = subprocess.run(["ninja", "-t", "targets", "all"], cwd=folder, check=True,
                                 text=True, capture_output=True).stdout
        names = sorted(set(re.findall(r"^bin/((?:%s)\.\w+): " % "|".join(LAYERS), targets, re.M)))
        for name in names:
            commands = subprocess.run(["ninja", "-t", "commands", "bin/" + name], cwd=folder,
                                      check=True, text=True, capture_output=True).stdout
            self.programs.append(Program(self, name, commands.strip().split("\n")[-1]))

    def library_objects(self, source):
        objects = sorted(o for o in self.users[source] if o.startswith("src/CMakeFiles/"))
        assert objects, f"nothing is made of {source}"
        return objects

    def programs_for(self, source):
        """Those that hold what is made of the source: its own test, the others of its layer, those
        of the other layers, at last the digests. Slow ones are left out but for its own: what only
        minutes of random input find has no test that names it."""
        layer, name = source.split("/")[1:]
        own = f"{layer}.{os.path.splitext(name)[0]}_test"
        members = {os.path.basename(o)[:-2] for o in self.library_objects(source)}
        chosen = [p for p in self.programs
                  if members & p.members or self.users[source] & set(p.objects)]
        chosen = [p for p in chosen if p.order <= SLOW or p.name == own]
        return sorted(chosen, key=lambda p: (p.name == DIGESTS, not p.name.startswith(layer + "."),
                                             p.name != own, p.order))


class Bench:
    """A folder in which one mutant at a time is made and tested."""

    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        self.sources = os.path.join(folder, "sources")
        shutil.rmtree(folder, ignore_errors=True)  # a run that was broken off leaves a mutant
        os.makedirs(folder)

    def put(self, source, text):
        path = os.path.join(self.sources, source)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as file:
            file.write(text)

    def take_away(self, source):
        os.remove(os.path.join(self.sources, source))

    def compile(self, target):
        """The object's file, None where it does not compile."""
        words = list(self.build.commands[target])
        output = os.path.join(self.folder, target.replace("/", "+"))
        words[words.index("-o") + 1] = output
        at = words.index("-c") + 1
        mutated = os.path.join(self.sources, os.path.relpath(words[at], self.build.tree))
        if os.path.exists(mutated):
            words[at] = mutated
        words[1:1] = [f"-I{self.sources}/src"]
        return output if run(words + ["-w", "-Wno-error"], self.build.folder)[0] == 0 else None

    def link(self, program, objects):
        """A test program with these objects in place of the library's. None where a test's own
        object does not compile, which says as much as a failure."""
        path = os.path.join(self.folder, program.name)
        command = [path if word == "bin/" + program.name else word for word in program.command]
        for own in program.objects:
            if own in objects:
                command[command.index(own)] = objects[own]
        held = [file for target, file in objects.items()
                if os.path.basename(target)[:-2] in program.members]
        at = command.index("-o")
        status, output = run(command[:at] + held + command[at:], self.build.folder)
        if status != 0:
            raise RuntimeError(f"{program.name} does not link: {output}")
        return path

    def kills(self, program, source, objects):
        objects = dict(objects)
        for own in set(program.objects) & self.build.users[source]:
            objects[own] = self.compile(own)
            if objects[own] is None:
                return True
        path = self.link(program, objects)
        passed = program.passes(path, self.folder)
        os.remove(path)
        return not passed

    def outcome(self, source, text, mutation, originals, passed):
        """What becomes of a mutant: {"outcome": ..., "by": the program that kills it, "passed":
        those that do not, and their states}. What has `passed` before is not run again."""
        self.put(source, mutations.apply(text, mutation))
        objects = {}
        for target in self.build.library_objects(source):
            objects[target] = self.compile(target)
            if objects[target] is None:
                return {"outcome": "uncompilable"}
        if {target: file_digest(file) for target, file in objects.items()} == originals:
            return {"outcome": "same"}
        passed = dict(passed)
        for program in self.build.programs_for(source):
            if passed.get(program.name) == program.state:
                continue
            if self.kills(program, source, objects):
                return {"outcome": "killed", "by": program.name, "state": program.state,
                        "passed": passed}
            passed[program.name] = program.state
        return {"outcome": "survived", "passed": passed}

    def objects_without_fault(self, source, text):
        self.put(source, text)
        return {target: file_digest(self.compile(target))
                for target in self.build.library_objects(source)}
