# SPDX-License-Identifier: Apache-2.0
"""Runs a call beside a service of pictures: with_picture_service.py KIND PICTURE CALL...

The service speaks the OpenAI images protocol on the loopback, and that of rembg, and answers with the file PICTURE; its
address takes the place of URL in the call. KIND says how it behaves:

  good       answers; the prompt comes back rewritten where it holds the word "better"
  refusing   answers with status 401 and a reason that repeats the token that was sent
  dying      closes the connection in the middle of the answer
  silent     never answers; the call gets control-C once it has asked

Prints the call's output, what the service was asked for, and the call's status.
"""

import base64
import http.server
import json
import signal
import subprocess
import sys
import threading
import time


class Service(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    kind, picture = "good", b""
    asked = []
    was_asked = threading.Event()
    over = threading.Event()

    def log_message(self, *_):
        pass

    def send(self, status, kind, body, told=None):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(told or len(body)))
        self.end_headers()
        self.wfile.write(body)
        self.wfile.flush()

    def make_answer(self, body):
        if self.path == "/api/remove":
            return "image/png", self.picture
        request = json.loads(body)
        pictures = [{"b64_json": base64.b64encode(self.picture).decode()} for _ in range(request.get("n", 1))]
        if "better" in request["prompt"]:
            pictures[0]["revised_prompt"] = request["prompt"].replace("better", "splendid")
        return "application/json", json.dumps({"created": 1, "data": pictures}).encode()

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.asked.append(self.path)
        self.was_asked.set()
        if self.kind == "silent":
            self.over.wait(60)
            self.close_connection = True
        elif self.kind == "refusing":
            reason = {"error": {"message": "no access with " + str(self.headers["Authorization"])}}
            self.send(401, "application/json", json.dumps(reason).encode())
        else:
            kind, answer = self.make_answer(body)
            is_dying = self.kind == "dying"
            self.send(200, kind, answer[: len(answer) // 2] if is_dying else answer, len(answer))
            self.close_connection = is_dying


def main():
    Service.kind, call = sys.argv[1], sys.argv[3:]
    with open(sys.argv[2], "rb") as picture:
        Service.picture = picture.read()
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Service)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    address = f"http://127.0.0.1:{server.server_port}"
    call = [word.replace("URL", address) for word in call]
    process = subprocess.Popen(call, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if Service.kind == "silent" and Service.was_asked.wait(60):
        time.sleep(0.2)
        process.send_signal(signal.SIGINT)
    output = process.communicate()[0]
    Service.over.set()
    print(output.replace(address, "URL"), end="")
    print("asked:", " ".join(Service.asked) or "nothing", "status:", process.returncode)


if __name__ == "__main__":
    main()
