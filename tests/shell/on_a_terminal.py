# SPDX-License-Identifier: Apache-2.0
"""Runs a call on a terminal of its own: on_a_terminal.py TEXT [signals] CALL...

Waits until the terminal shows TEXT, or the call ends. With "interrupt" for signals it sends control-C then. Prints
whether TEXT was shown, and the call's status.
"""

import os
import pty
import signal
import sys


def main():
    text, what, call = sys.argv[1].encode(), sys.argv[2], sys.argv[3:]
    child, terminal = pty.fork()
    if child == 0:
        os.execvp(call[0], call)
    shown, was_shown = b"", False
    while True:
        try:
            piece = os.read(terminal, 4096)
        except OSError:
            break
        if not piece:
            break
        shown += piece
        if text in shown and not was_shown:
            was_shown = True
            if what == "interrupt":
                os.kill(child, signal.SIGINT)
    status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    print("shown" if was_shown else "not shown", status)
    print(shown.replace(b"\r\033[K", b"\n").decode(errors="replace").splitlines()[-1].strip())


if __name__ == "__main__":
    main()
