"""Outputs are written completely or not at all, however the tool ends."""

import os
import pty
import resource
import signal
import stat
import subprocess
import time
import unittest

from support import *

PICTURE = noise(40, 30, 3)


class OutputTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("in.png", png_of(PICTURE))

    def fails(self, output, error, *options, **more):
        """The conversion fails with an output error, and leaves nothing behind."""
        before = self.files()
        self.expect(OUTPUT, "decode", "in.png", output, *options, error="moxj: %s: %s\n" % (output, error), **more)
        self.assertEqual(self.files(), before)


class Replacing(OutputTest):
    def test_a_new_file_has_the_permissions_of_the_mask(self):
        for mask, mode in (0o022, 0o644), (0o027, 0o640), (0o000, 0o666):
            self.expect(OK, "decode", "in.png", "new%o.ppm" % mask, umask=mask)
            self.assertEqual(stat.S_IMODE(os.stat(self.path("new%o.ppm" % mask)).st_mode), mode)

    def test_an_existing_file_keeps_its_permissions_and_its_owner(self):
        for mode in 0o600, 0o664, 0o755, 0o4755:
            self.write("out.ppm", b"old")
            if os.geteuid() == 0:
                os.chown(self.path("out.ppm"), 4711, 815)
            os.chmod(self.path("out.ppm"), mode)
            before = os.stat(self.path("out.ppm"))
            self.expect(OK, "decode", "in.png", "out.ppm")
            after = os.stat(self.path("out.ppm"))
            self.assertEqual(self.read("out.ppm"), pnm(PICTURE))
            self.assertEqual(
                (after.st_mode, after.st_uid, after.st_gid), (before.st_mode, before.st_uid, before.st_gid)
            )

    def test_readers_of_an_existing_file_keep_the_old_one(self):
        self.write("out.ppm", b"old")
        with open(self.path("out.ppm"), "rb") as old:
            self.expect(OK, "decode", "in.png", "out.ppm")
            self.assertEqual(old.read(), b"old")

    def test_input_and_output_may_be_the_same_file(self):
        for data in png_of(PICTURE), pnm(PICTURE), pnm(PICTURE, plain=True):
            self.write("same", data)
            self.expect(OK, "decode", "same", "same", "--format", "ppm")
            self.assertEqual(self.read("same"), pnm(PICTURE))
        os.symlink("same", self.path("link"))
        os.link(self.path("same"), self.path("hard"))
        for other in "link", "hard":
            self.expect(OK, "decode", "same", other, "--format", "png")
            self.assertEqual(parse_png(self.read(other)), PICTURE)

    def test_a_symbolic_link_stays_and_its_target_is_replaced(self):
        os.mkdir(self.path("far"))
        self.write("far/target.ppm", b"old")
        os.chmod(self.path("far/target.ppm"), 0o640)
        os.symlink("far/target.ppm", self.path("one"))
        os.symlink(self.path("one"), self.path("two.ppm"))
        self.expect(OK, "decode", "in.png", "two.ppm")
        self.assertTrue(os.path.islink(self.path("two.ppm")) and os.path.islink(self.path("one")))
        self.assertEqual(self.read("far/target.ppm"), pnm(PICTURE))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("far/target.ppm")).st_mode), 0o640)
        self.assertEqual(self.files("far"), ["target.ppm"])

    def test_a_symbolic_link_to_nothing_makes_its_target(self):
        os.mkdir(self.path("far"))
        os.symlink("far/new.ppm", self.path("link.ppm"))
        self.expect(OK, "decode", "in.png", "link.ppm")
        self.assertTrue(os.path.islink(self.path("link.ppm")))
        self.assertEqual(self.read("far/new.ppm"), pnm(PICTURE))

    def test_links_in_a_ring(self):
        os.symlink("a.ppm", self.path("b.ppm"))
        os.symlink("b.ppm", self.path("a.ppm"))
        self.fails("a.ppm", "cannot be written: Too many levels of symbolic links")

    def test_a_directory_by_a_link_and_dots(self):
        os.mkdir(self.path("far"))
        os.symlink("far", self.path("near"))
        self.expect(OK, "decode", "in.png", "near/../near/./out.ppm")
        self.assertEqual(self.files("far"), ["out.ppm"])

    def test_a_refused_input_leaves_the_existing_output(self):
        self.write("out.ppm", b"old")
        self.write("bad", b"P5 0 0 255 ")
        self.expect(REFUSED, "decode", "bad", "out.ppm", error="moxj: bad: the picture has no pixels\n")
        self.assertEqual(self.read("out.ppm"), b"old")
        self.assertEqual(self.files(), ["bad", "in.png", "out.ppm"])

    def test_the_longest_name_a_directory_takes(self):
        name = "n" * 251 + ".ppm"
        self.expect(OK, "decode", "in.png", name)
        self.assertEqual(self.read(name), pnm(PICTURE))
        self.fails("n" + name, "cannot be written: File name too long")


class Unwritable(OutputTest):
    def test_a_directory(self):
        os.mkdir(self.path("out.ppm"))
        self.fails("out.ppm", "cannot be written: it is a directory")

    def test_a_directory_that_is_missing(self):
        self.fails("none/out.ppm", "cannot be created: No such file or directory")
        self.fails("in.png/out.ppm", "cannot be created: Not a directory")

    def test_a_directory_that_takes_no_files(self):
        self.fails("/proc/out.ppm", "cannot be created: No such file or directory")

    def test_a_full_disk(self):
        self.fails("/dev/full", "cannot be written: No space left on device", "--format", "ppm")
        with open("/dev/full", "wb") as full:
            self.expect(OUTPUT, "decode", "in.png", "-", stdout=full,
                        error="moxj: standard output: cannot be written: No space left on device\n")

    def test_text_to_a_full_disk(self):
        for arguments in ("--help",), ("--version",), ("info", "in.png"), ("compare", "in.png", "in.png"):
            with open("/dev/full", "wb") as full:
                result = self.moxj(*arguments, stdout=full)
            self.assertEqual((result.returncode, result.stderr),
                             (OUTPUT, "moxj: standard output: cannot be written: No space left on device\n"))

    def test_a_file_size_limit(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))
        self.fails("out.ppm", "cannot be written: File too large", preexec_fn=limit)
        self.write("out.ppm", b"old")
        self.fails("out.ppm", "cannot be written: File too large", preexec_fn=limit)
        self.assertEqual(self.read("out.ppm"), b"old")

    def closed_pipe(self):
        reader, writer = os.pipe()
        os.close(reader)
        return os.fdopen(writer, "wb")

    def test_a_closed_pipe_ends_the_tool_silently(self):
        for arguments in ("decode", "in.png", "-"), ("--help",), ("info", "in.png"):
            with self.closed_pipe() as pipe:
                self.expect(-signal.SIGPIPE, *arguments, stdout=pipe)

    def test_a_closed_pipe_is_an_error_if_its_signal_is_ignored(self):
        with self.closed_pipe() as pipe:
            self.expect(OUTPUT, "decode", "in.png", "-", stdout=pipe, restore_signals=False,
                        error="moxj: standard output: cannot be written: Broken pipe\n")

    def test_a_closed_standard_output(self):
        result = subprocess.run(
            ["sh", "-c", '"$0" decode in.png - >&-', MOXJ], cwd=self.directory, stderr=subprocess.PIPE
        )
        self.assertEqual(
            (result.returncode, result.stderr),
            (OUTPUT, b"moxj: standard output: cannot be written: Bad file descriptor\n"),
        )

    def test_a_closed_standard_input(self):
        result = subprocess.run(
            ["sh", "-c", '"$0" decode - out.ppm <&-', MOXJ], cwd=self.directory, stderr=subprocess.PIPE
        )
        self.assertEqual(
            (result.returncode, result.stderr),
            (REFUSED, b"moxj: standard input: cannot be read: Bad file descriptor\n"),
        )

    def test_a_closed_standard_error_does_not_end_up_in_the_picture(self):
        self.write("short.ppm", pnm(PICTURE)[:-1])
        result = subprocess.run(["sh", "-c", '"$0" decode short.ppm out.ppm 2>&-', MOXJ], cwd=self.directory)
        self.assertEqual(result.returncode, INCOMPLETE)
        self.assertEqual(self.read("out.ppm"), pnm(PICTURE)[:-1] + b"\0")

    @unittest.skipIf(os.geteuid() != 0, "only root can become another user")
    def test_as_a_user_without_rights(self):
        os.chmod(self.directory, 0o755)
        self.write("out.ppm", b"old")
        stranger = {"user": 65534, "group": 65534, "extra_groups": []}
        try:
            self.moxj("--version", **stranger)
        except PermissionError:
            self.skipTest("the tool is where others cannot run it")
        self.fails("new.ppm", "cannot be created: Permission denied", **stranger)
        self.fails("out.ppm", "cannot be written: Permission denied", **stranger)
        # A file of another user in a world-writable directory is replaced only if it is writable.
        os.chmod(self.directory, 0o777)
        os.chmod(self.path("out.ppm"), 0o644)
        self.fails("out.ppm", "cannot be written: Permission denied", **stranger)
        os.chmod(self.path("out.ppm"), 0o666)
        self.expect(OK, "decode", "in.png", "out.ppm", **stranger)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("out.ppm")).st_mode), 0o666)
        os.chmod(self.path("in.png"), 0)
        self.expect(REFUSED, "decode", "in.png", "out.ppm", error="moxj: in.png: cannot be read: Permission denied\n",
                    **stranger)


class NoClobber(OutputTest):
    """--no-clobber refuses existing outputs before any work."""

    EXISTS = "already exists (--no-clobber)"

    def test_one_file(self):
        self.expect(OK, "decode", "in.png", "out.ppm", "--no-clobber")
        self.assertEqual(self.read("out.ppm"), pnm(PICTURE))
        self.write("out.ppm", b"old")
        # The input is not even opened.
        for name in "in.png", "none":
            self.expect(OUTPUT, "decode", name, "out.ppm", "--no-clobber", error=f"moxj: out.ppm: {self.EXISTS}\n")
        self.assertEqual(self.read("out.ppm"), b"old")
        self.assertEqual(self.files(), ["in.png", "out.ppm"])

    def test_every_command(self):
        self.expect(OK, "encode", "in.png", "out.jpg", "--no-clobber")
        file = self.read("out.jpg")
        self.fails_to_replace("encode", "in.png", "out.jpg", "--quality", "5")
        self.fails_to_replace("transcode", "out.jpg", "out.jpg", "--progressive")
        self.assertEqual(self.read("out.jpg"), file)
        os.mkdir(self.path("folder.jpg"))
        self.fails_to_replace("encode", "in.png", "folder.jpg")
        self.fails_to_replace("encode", "in.png", "/dev/null", "--format", "jpg")

    def fails_to_replace(self, *arguments):
        output = arguments[2]
        self.expect(OUTPUT, *arguments, "--no-clobber", error=f"moxj: {output}: {self.EXISTS}\n")

    def test_each_file_of_a_batch(self):
        self.write("b.png", png_of(PICTURE))
        os.mkdir(self.path("out"))
        self.write("out/in.pnm", b"old")
        self.expect(OUTPUT, "decode", "in.png", "b.png", "--output-dir", "out", "--no-clobber",
                    error=f"moxj: out/in.pnm: {self.EXISTS}\n")
        self.assertEqual((self.read("out/in.pnm"), self.read("out/b.pnm")), (b"old", pnm(PICTURE)))

    def test_components(self):
        self.expect(OK, "encode", "in.png", "a.jp2")
        self.write("out_1.pgx", b"old")
        self.expect(OUTPUT, "decode", "a.jp2", "out.pgx", "--components", "--no-clobber",
                    error=f"moxj: out_1.pgx: {self.EXISTS}\n")
        self.assertEqual(self.files(), ["a.jp2", "in.png", "out_1.pgx"])
        self.assertEqual(self.read("out_1.pgx"), b"old")

    def test_a_file_that_comes_into_being_meanwhile(self):
        process = subprocess.Popen([MOXJ, "decode", "-", "out.ppm", "--no-clobber"], cwd=self.directory,
                                   stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdin.write(pnm(PICTURE)[:100])
        process.stdin.flush()
        time.sleep(0.2)
        self.write("out.ppm", b"new")
        errors = process.communicate(pnm(PICTURE)[100:])[1]
        self.assertEqual((process.returncode, errors.decode()), (OUTPUT, f"moxj: out.ppm: {self.EXISTS}\n"))
        self.assertEqual(self.read("out.ppm"), b"new")
        self.assertEqual(self.files(), ["in.png", "out.ppm"])


class Components(ToolTest):
    """The files of --components: all of them or none."""

    def setUp(self):
        super().setUp()
        self.write("a.ppm", pnm(smooth(40, 30, 3)))
        self.expect(OK, "encode", "a.ppm", "a.jp2")

    def test_all(self):
        self.expect(OK, "decode", "a.jp2", "out.pgx", "--components")
        self.assertEqual(self.files(), ["a.jp2", "a.ppm", "out_0.pgx", "out_1.pgx", "out_2.pgx"])

    def test_none_if_one_cannot_be_written(self):
        os.mkdir(self.path("out_2.pgx"))
        self.write("out_0.pgx", b"old")
        self.expect(OUTPUT, "decode", "a.jp2", "out.pgx", "--components",
                    error="moxj: out_2.pgx: cannot be written: it is a directory\n")
        self.assertEqual(self.files(), ["a.jp2", "a.ppm", "out_0.pgx", "out_2.pgx"])
        self.assertEqual(self.read("out_0.pgx"), b"old")


class Devices(OutputTest):
    def test_devices_are_written_to_and_not_replaced(self):
        self.expect(OK, "decode", "in.png", "/dev/null", "--format", "ppm")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.assertEqual(self.expect(OK, "decode", "in.png", "/dev/stdout", "--format", "ppm"), pnm(PICTURE))

    def test_a_named_pipe(self):
        os.mkfifo(self.path("pipe.ppm"))
        process = subprocess.Popen([MOXJ, "decode", "in.png", "pipe.ppm"], cwd=self.directory)
        self.assertEqual(self.read("pipe.ppm"), pnm(PICTURE))
        self.assertEqual(process.wait(), OK)
        self.assertTrue(stat.S_ISFIFO(os.stat(self.path("pipe.ppm")).st_mode))
        process = subprocess.Popen([MOXJ, "decode", "pipe.ppm", "out.png"], cwd=self.directory)
        self.write("pipe.ppm", pnm(PICTURE))
        self.assertEqual(process.wait(), OK)
        self.assertEqual(parse_png(self.read("out.png")), PICTURE)

    def test_a_slow_pipe(self):
        process = subprocess.Popen([MOXJ, "decode", "-", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        data = pnm(PICTURE)
        for at in range(0, len(data), 500):
            process.stdin.write(data[at:at + 500])
            process.stdin.flush()
            time.sleep(0.002)
        process.stdin.close()
        self.assertEqual(process.stdout.read(), data)
        self.assertEqual(process.wait(), OK)
        process.stdout.close()


class Interrupted(OutputTest):
    def interrupt(self, signal_number):
        """Ends the tool while the temporary file exists. The file is large, and its directory is polled."""
        self.write("large.ppm", b"P6 8000 8000 255\n" + bytes(8000 * 8000 * 3))
        self.write("out.ppm", b"old")
        for _ in range(20):
            process = subprocess.Popen([MOXJ, "decode", "large.ppm", "out.ppm"], cwd=self.directory)
            seen = False
            while process.poll() is None and not seen:
                seen = any(name.startswith(".moxc-") for name in os.listdir(self.directory))
            process.send_signal(signal_number)
            status = process.wait()
            self.assertEqual(self.files(), ["in.png", "large.ppm", "out.ppm"])
            if seen and status == -signal_number:
                self.assertEqual(self.read("out.ppm"), b"old")
                return
            self.assertEqual(status, OK)  # it was faster
            self.write("out.ppm", b"old")
        self.fail("the tool was always faster than the signal")

    def test_signals_remove_the_temporary_file(self):
        for signal_number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
            self.interrupt(signal_number)

    def test_a_signal_that_was_ignored_stays_so(self):
        self.write("in.ppm", pnm(PICTURE))
        process = subprocess.Popen([MOXJ, "decode", "-", "out.ppm"], cwd=self.directory, stdin=subprocess.PIPE,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        process.stdin.write(pnm(PICTURE)[:100])
        process.stdin.flush()
        time.sleep(0.2)
        process.send_signal(signal.SIGINT)
        process.stdin.write(pnm(PICTURE)[100:])
        process.stdin.close()
        self.assertEqual(process.wait(), OK)
        self.assertEqual(self.read("out.ppm"), pnm(PICTURE))

    def test_an_input_that_is_truncated_while_in_use(self):
        self.write("large.ppm", b"P6 3000 3000 255\n" + random.Random(1).randbytes(27000000))
        self.expect(OK, "encode", "large.ppm", "large.jpg", "--quality", "95")
        os.remove(self.path("large.ppm"))
        process = subprocess.Popen([MOXJ, "decode", "large.jpg", "out.png"], cwd=self.directory, stderr=subprocess.PIPE)
        mapped = False
        while process.poll() is None and not mapped:
            with open("/proc/%d/maps" % process.pid) as maps:
                mapped = "large.jpg" in maps.read()
        os.truncate(self.path("large.jpg"), 0)
        self.assertEqual(process.stderr.read(), b"moxj: an input file was truncated while in use\n")
        self.assertEqual(process.wait(), REFUSED)
        process.stderr.close()
        self.assertEqual(self.files(), ["in.png", "large.jpg"])


if __name__ == "__main__":
    unittest.main()
