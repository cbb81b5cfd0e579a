"""Several tools at a time, seen from outside: tools that wait for each other, signals, terminals,
and what runs short. Usage: test_jobs.py ZTMAKE"""

import fcntl
import os
import pty
import resource
import select
import shutil
import signal
import struct
import termios
import time

from jobsworld import JobsWorld, main, meeting, SECONDS_TO_GIVE_UP


class Jobs(JobsWorld):
    # What runs at once.

    def test_sources_of_a_folder(self):
        self.tree("a", "b")
        self.tools(ztlpp=meeting("a.lui", "b.lui"))
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_sources_of_one_output(self):
        self.tree("a")
        self.write("p/root/a.LUA")
        self.tools(ztlpp="echo x >>calls\n", ztluac="echo x >>calls\n")
        for jobs in "1", "3":
            shutil.rmtree(self.path("p/obj"), ignore_errors=True)
            self.write("p/calls")
            self.assertEqual(self.run_build(jobs), (0, b"", b""))
            with open(self.path("p/calls"), encoding="utf-8") as calls:
                self.assertEqual(calls.read(), "x\nx\n")

    def test_sources_that_are_not_preprocessed(self):
        self.write("p/root/a.lua")
        self.write("p/root/b.lua")
        self.project('<Merge Type="Directory"><Source>root</Source></Merge>'
                     '<Process><Preprocess Type="Ztlpp" Enabled="0"/></Process>')
        self.tools(ztluac=meeting("a.luo", "b.luo"))
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_folder_in_which_tools_write(self):
        self.write("p/root/a.lua")
        self.tools(ztlpp='sleep 0.2; case $output in */a.lui) : >"${output%.lui}more.lua"; esac\n')
        for kind, source, output in (("Directory", "obj/root", "root01/amore.luo"),
                                     ("File", "obj/root/amore.lua", "root01.luo")):
            self.project('<Merge Type="Directory"><Source>root</Source></Merge>'
                         f'<Merge Type="{kind}"><Source>{source}</Source></Merge>')
            for jobs in "1", "3":
                shutil.rmtree(self.path("p/obj"), ignore_errors=True)
                self.assertEqual(self.run_build(jobs), (0, b"", b""))
                self.assertTrue(os.path.exists(self.path(f"p/obj/{output}")))

    def test_preprocessor_that_searches_outputs(self):
        self.tree("a", "b", "c")
        self.project('<Merge Type="Directory"><Source>root</Source></Merge>',
                     "<Process><Preprocess Type=\"Ztlpp\"><Include>obj/root</Include></Preprocess>"
                     "</Process>")
        self.tools(ztlpp="mkdir alone || : >met; sleep 0.1; rmdir alone\n")
        self.assertEqual(self.run_build("3"), (0, b"", b""))
        self.assertFalse(os.path.exists(self.path("p/met")))

    def test_sources_of_several_merges(self):
        self.write("p/a.lua")
        self.write("p/b.lua")
        self.project("".join(f'<Merge Type="File"><Source>{name}.lua</Source></Merge>'
                             for name in "ab"))
        self.tools(ztluac=meeting("root.luo", "root01.luo"))
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_catalogues(self):
        self.tree("a")
        self.project('<Merge Type="Directory"><Source>root</Source></Merge>',
                     '<Translation Enabled="1"><Language>de</Language><Language>fr</Language>'
                     '</Translation>')
        self.write("p/translations/de.ts")
        self.write("p/translations/fr.ts")
        self.tools(lrelease=meeting("de.qm", "fr.qm"))
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_links(self):
        self.write("p/root/a.txt")
        self.project('<Merge Type="Directory"><Source>root</Source></Merge>', targets="AB")
        self.tools(ztlink=meeting("A-", "B-"))
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_processors_of_this_machine(self):
        self.tree("a", "b")
        self.tools(ztlpp="echo x >>processes; while [ $(wc -l <processes) -lt 2 ]; "
                         "do sleep 0.01; done\n")
        if len(os.sched_getaffinity(0)) < 2:
            self.skipTest("one processor")
        self.assertEqual(self.run_build("auto")[0], 0)

    # Signals.

    def test_signal_reaches_all_tools(self):
        self.tree("a", "b")
        self.tools(ztlpp='trap "exit 1" TERM; : >$output; : >began.${output##*/}\n'
                         'while :; do sleep 0.01; done\n')
        process = self.start()
        self.appears("p/began.a.lui", "p/began.b.lui")
        os.kill(process.pid, signal.SIGTERM)
        _, err = process.communicate(timeout=SECONDS_TO_GIVE_UP)
        self.assertEqual((process.returncode, err),
                         (-signal.SIGTERM, b"[ztmake] Interrupted by SIGTERM while ztlpp was "
                                           b"running\n"))
        for name in ("a", "b"):
            self.assertFalse(os.path.exists(self.path(f"p/obj/root/{name}.lui")), name)
        self.tools()
        self.assertEqual(self.run_build(), (0, b"", b""))

    def test_second_signal_kills_all_tools(self):
        self.tree("a", "b")
        self.tools(ztlpp='name=${output##*/}; trap ": >told.$name" TERM; : >began.$name\n'
                         'while :; do sleep 0.01; done\n')
        process = self.start()
        self.appears("p/began.a.lui", "p/began.b.lui")
        os.kill(process.pid, signal.SIGTERM)
        self.appears("p/told.a.lui", "p/told.b.lui")
        os.kill(process.pid, signal.SIGINT)
        process.communicate(timeout=SECONDS_TO_GIVE_UP)
        self.assertEqual(process.returncode, -signal.SIGTERM)

    def test_what_a_tool_leaves_behind_is_not_trusted(self):
        left = ('(trap "" TERM; : >began; until [ -e go ]; do sleep 0.01; done\n'
                'echo stale >$output; : >written) & ')
        for jobs, is_interrupted in (("1", True), ("2", True), ("1", False), ("2", False)):
            with self.subTest(jobs=jobs, is_interrupted=is_interrupted):
                self.tree("a", "b")
                self.tools(ztlpp=left + ("wait\n" if is_interrupted else "exit 1\n"))
                with open(self.path("log"), "wb") as log:
                    process = self.start(jobs, stdout=log, stderr=log)
                    self.appears("p/began")
                    if is_interrupted:
                        os.kill(process.pid, signal.SIGTERM)
                    self.assertEqual(process.wait(timeout=SECONDS_TO_GIVE_UP),
                                     -signal.SIGTERM if is_interrupted else 1)
                self.write("p/go")
                self.appears("p/written")
                self.tools()
                self.assertEqual(self.run_build(jobs)[0], 0)
                for name in ("a", "b"):
                    with open(self.path(f"p/obj/root/{name}.lui"), encoding="utf-8") as file:
                        self.assertEqual(file.read(), "ztlpp\n")
                shutil.rmtree(self.path("p"))
                os.makedirs(self.path("p/firmware"))

    def test_what_a_failed_tool_leaves_behind_writes_while_others_run(self):
        self.tree("a", "b")
        self.tools(ztlpp="case $output in *a.lui) until [ -e began ]; do sleep 0.01; done\n"
                         "echo half >$output; (while [ -e $output ]; do sleep 0.01; done\n"
                         "echo stale >$output; : >written) & exit 1;;\n"
                         "*) : >began; until [ -e written ]; do sleep 0.01; done;; esac\n")
        self.assertEqual(self.run_build()[0], 1)
        self.assertEqual(os.listdir(self.path("p/obj/root")), ["b.lui"])

    def test_failure_leaves_no_note(self):
        self.tree("a", "b")
        self.tools(ztlpp="exit 1\n")
        self.assertEqual(self.run_build()[0], 1)
        self.assertEqual(os.listdir(self.path("p/obj")), ["root"])

    def test_reader_that_does_not_read(self):
        self.tree("a", "b")
        self.tools(ztlpp=": >begun; head -c 1000000 /dev/zero\n")
        reader, writer = os.pipe()
        process = self.start(stdout=writer)
        self.appears("p/begun")
        time.sleep(0.2)  # for it to fill the pipe; if it does not, the test passes the easy way
        os.kill(process.pid, signal.SIGTERM)
        self.assertEqual(process.wait(timeout=SECONDS_TO_GIVE_UP), -signal.SIGTERM)
        process.stderr.close()
        os.close(reader)
        os.close(writer)

    def test_reader_that_goes_away(self):
        self.tree("a", "b")
        self.tools(ztlpp="head -c 1000000 /dev/zero\n")
        process = self.start()
        process.stdout.close()
        self.assertEqual(process.stderr.read(),
                         b"[ztmake] Error writing standard output: Broken pipe\n")
        process.stderr.close()
        self.assertEqual(process.wait(timeout=SECONDS_TO_GIVE_UP), 1)

    # What is printed.

    def test_streams_stay_apart(self):
        self.tree("a", "b", "c")
        self.tools(ztlpp='echo "out $output"; echo "err $output" >&2\n')
        one = self.run_build("1", arguments=())
        shutil.rmtree(self.path("p/obj"))
        self.assertEqual(self.run_build("3", arguments=()), one)
        self.assertEqual(one[1].count(b"out "), 3)
        self.assertEqual(one[2].count(b"err "), 3)

    def test_long_output_of_many_tools(self):
        """100 MB, and more than any pipe holds of each of the others."""
        self.tree(*"abcdef")
        self.tools(ztlpp="case $output in *c.lui) n=100;; *) n=1;; esac\n"
                         "head -c ${n}000000 /dev/zero\n")
        status, out, _ = self.run_build("6")
        self.assertEqual((status, len(out)), (0, 105_000_000))

    def test_program_left_behind_is_not_waited_for(self):
        self.tree("a", "b")
        self.tools(ztlpp="sleep 1000 & echo $! >>left\n", ztmkromfs="exec </dev/null\n")
        # The pipes of the test would be held, too.
        with open(self.path("log"), "wb") as log:
            process = self.start(stdout=log, stderr=log)
            self.assertEqual(process.wait(timeout=SECONDS_TO_GIVE_UP), 0)
        with open(self.path("p/left"), encoding="utf-8") as file:
            for number in file:
                os.kill(int(number), signal.SIGKILL)

    # What runs short.

    def test_few_descriptors(self):
        self.tree(*(f"{number:03}" for number in range(150)))
        self.tools(ztlpp="echo $output\n")

        def limit():
            resource.setrlimit(resource.RLIMIT_NOFILE, (256, 256))
        status, out, err = self.run_build("64", preexec_fn=limit)
        self.assertEqual((status, err), (0, b""))
        self.assertEqual(len(out.splitlines()), 150)

    # The variable.

    def test_anything_else_is_refused(self):
        self.tree("a")
        self.assertEqual(self.run_build("two"), (
            1, b"", b'[ztmake] ZTMAKE_JOBS must be a number from 1 on, or "auto", but is "two"\n'))
        self.assertFalse(os.path.exists(self.path("p/obj")))

    # The line on a terminal.

    def on_terminal(self, jobs="2", arguments=("-q",), width=80, environment=None):
        """All that a terminal gets."""
        controller, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
        process = self.start(jobs, arguments, stdout=terminal, stderr=terminal,
                             environment=environment or {})
        os.close(terminal)
        text = b""
        while True:
            select.select([controller], [], [], SECONDS_TO_GIVE_UP)
            try:
                piece = os.read(controller, 65536)
            except OSError:
                break
            text += piece
        os.close(controller)
        self.assertEqual(process.wait(timeout=SECONDS_TO_GIVE_UP), 0)
        return text

    @staticmethod
    def screen(text):
        """What stays on the screen: lines that are erased go."""
        lines = [line.rsplit(b"\r\x1b[K", 1)[-1] for line in text.split(b"\r\n")]
        return b"\n".join(lines)

    def test_terminal_shows_how_far_it_is(self):
        self.tree("a", "sub/b", "sub/c")
        text = self.on_terminal()
        self.assertIn(b"\r\x1b[K[0/1] ztlpp ", text)
        self.assertRegex(text, rb"\r\x1b\[K\[[12]/3\] ztlpp ")
        self.assertIn(b"] ztluac sub/b.lua\r", text)
        self.assertNotRegex(text, b"\x1b\\[[0-9;]*m")  # no colours
        self.assertEqual(self.screen(text), b"")

    def test_line_is_gone_while_tools_print(self):
        self.tree("a", "b")
        self.tools(ztlpp="echo preprocessing; printf open\n", ztmkromfs="echo packing\n")
        self.assertEqual(self.screen(self.on_terminal()),
                         b"preprocessing\nopenpreprocessing\nopenpacking\n")

    def test_line_fits_the_terminal(self):
        self.tree("a" * 200, "\u00e4\u6f22" * 40)
        for width, expected in ((40, 39), (1, 0), (0, 79)):  # 0: the terminal does not know
            shutil.rmtree(self.path("p/obj"), ignore_errors=True)
            lines = self.on_terminal(width=width).decode().split("\r\x1b[K")
            with self.subTest(width=width):
                self.assertEqual(expected, max(sum(1 + (letter >= "\u0300") for letter in line)
                                               for line in map(str.rstrip, lines)))

    def test_no_line_where_none_is_wanted(self):
        self.tree("a")
        for jobs, arguments, environment in (
                ("1", ("-q",), {}), ("2", (), {}), ("2", ("-q",), {"TERM": "dumb"}),
                ("2", ("-q",), {"TERM": ""})):
            shutil.rmtree(self.path("p/obj"), ignore_errors=True)
            with self.subTest(jobs=jobs, arguments=arguments, environment=environment):
                self.assertNotIn(b"\x1b", self.on_terminal(jobs, arguments,
                                                           environment=environment))



if __name__ == "__main__":
    main()
