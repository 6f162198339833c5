"""A static web server (nginx) on a free port of this computer, for the demo, the tests and the
measurements."""

import json
import shutil
import socket
import subprocess
import tempfile
import time
from pathlib import Path

CONFIGURATION = """
daemon off;
master_process off;
error_log stderr;
pid {state}/pid;
events {{ worker_connections 256; }}
http {{
  client_body_temp_path {state}/body;
  proxy_temp_path {state}/proxy;
  fastcgi_temp_path {state}/fastcgi;
  uwsgi_temp_path {state}/uwsgi;
  scgi_temp_path {state}/scgi;
  log_format bytes '$status $body_bytes_sent $request_uri';
  access_log {state}/log bytes;
  sendfile on;
  {limit}
  server {{ listen 127.0.0.1:{port}{tls}; root "{folder}"; {certificate} }}
}}
"""
PATIENCE = 30  # seconds


class WebServer:
    def __init__(self, folder, rate=None, certificate=None):
        """A context manager. rate: kilobytes per second for each connection; certificate: a PEM file
        that also has its key."""
        self.folder, self.rate, self.certificate = Path(folder).resolve(), rate, certificate

    def __enter__(self):
        self.state = Path(tempfile.mkdtemp(prefix="tarvex-web-"))
        self.log = self.state / "log"
        end = time.monotonic() + PATIENCE
        while not self.start():
            if time.monotonic() > end:
                self.__exit__()
                raise TimeoutError("the web server does not start")
        return self

    def start(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        secure = self.certificate is not None
        # Small pieces, so that the bar moves smoothly.
        limit = f"limit_rate {self.rate}k; sendfile_max_chunk 16k;" if self.rate else ""
        (self.state / "nginx.conf").write_text(CONFIGURATION.format(
            state=self.state, port=port, folder=self.folder, limit=limit,
            tls=" ssl" if secure else "", certificate="" if not secure else
            f"ssl_certificate {self.certificate}; ssl_certificate_key {self.certificate};"))
        with open(self.state / "errors", "w") as errors:
            self.process = subprocess.Popen(
                ["/usr/sbin/nginx", "-e", "stderr", "-p", self.state, "-c", self.state / "nginx.conf"],
                stderr=errors)
        self.address = f"http{'s' * secure}://127.0.0.1:{port}/"
        while self.process.poll() is None:  # nginx ends at once if another program has taken the port
            with socket.socket() as client:
                if client.connect_ex(("127.0.0.1", port)) == 0:
                    return True
            time.sleep(0.01)
        return False

    def requests(self):
        """A line for each request: status, bytes of the body, path."""
        return self.log.read_text().splitlines()

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        shutil.rmtree(self.state, ignore_errors=True)


def point_to(bundle, address, **settings):
    """Changes a bundle's configuration, so that the updater takes the releases from this address."""
    path = bundle / "Contents/Resources/launcher-config.json"
    config = {**json.loads(path.read_bytes()), "releases": str(address), **settings}
    path.write_text(json.dumps(config, indent=2) + "\n")
