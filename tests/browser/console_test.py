#!/usr/bin/env python3
"""console_test.py - the console in a real browser: a root of its own, the
accounts of its users, "tarn serve" on a loopback port, headless chromium.

Usage: console_test.py TARN DATA_DIR FAILURE_DIR SCENARIO
Exit 0 passed, 1 failed (a screenshot kept in FAILURE_DIR), 77 skipped
(no chromium)."""
import json
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import traceback

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools"))
SKIP = 77


class Root:
    """A system root laid out by "tarn init" with a small tree: Headquarters
    with Sales (which blocks inheritance) and Engineering, a server in each,
    Baseline enforced at Headquarters and Sales shares on Sales."""

    def __init__(self, tarn, data):
        self.tarn, self.data = tarn, data
        self.dir = tempfile.mkdtemp(prefix="tarn-browser-")
        self.env = dict(os.environ, TARN_DATA_DIR=data, VURO_NET_LOOPBACK_ONLY="1")
        self.env.pop("VURO_SYSROOT", None)
        self.run("init")
        self.hq = self.run("ou", "create", "--name", "Headquarters")["id"]
        self.sales = self.run("ou", "create", "--name", "Sales", "--parent", self.hq,
                              "--block", "1")["id"]
        self.eng = self.run("ou", "create", "--name", "Engineering", "--parent", self.hq)["id"]
        self.nas_sales = self.run("peer", "create", "--sn", "BRW0001", "--hostname", "nas-sales",
                                  "--model", "RS819", "--version", "7.2", "--parent",
                                  self.sales)["id"]
        self.run("peer", "set", self.nas_sales, "--status", "2", "--status-by-server", "2")
        self.nas_eng = self.run("peer", "create", "--sn", "BRW0002", "--hostname", "nas-eng",
                                "--model", "DS120", "--version", "7.1", "--parent",
                                self.eng)["id"]
        self.baseline = self.gpo("Baseline", self.hq, {"Samba": {"vuro_set_version": 3,
                                                                 "smb_encrypt_transport": 1}})
        self.shares = self.gpo("Sales shares", self.sales, {"Samba": {"vuro_set_version": 2,
                                                                      "smb_max_protocol": 2}})
        self.lab = self.gpo("Lab clock", self.eng, {"Time": {"vuro_set_version": 1,
                                                            "ntp": "lab-clock"}})
        self.link("--ou", self.hq, [(self.baseline, 1)])
        self.link("--ou", self.sales, [(self.shares, 0)])
        etc = os.path.join(self.dir, "etc")
        with open(os.path.join(etc, "passwd"), "w") as f:
            f.write("root:x:0:0:root:/root:/bin/sh\n"
                    "admin:x:2000:100::/home/admin:/bin/sh\n"
                    "alice:x:2001:100::/home/alice:/bin/sh\n"
                    "bob:x:2002:100::/home/bob:/bin/sh\n")
        with open(os.path.join(etc, "group"), "w") as f:
            f.write("root:x:0:\nusers:x:100:\nadministrators:x:101:admin\n")
        self.passwords = {"admin": "admin-pass-1", "alice": "alice-pass-1"}
        for user, password in self.passwords.items():
            self.run("passwd", user, stdin=password + "\n")
        self.run("delegates", "set", "--ou", self.eng, "--users", "alice")

    def run(self, *args, stdin=None):
        p = subprocess.run([self.tarn, "--root", self.dir] + [str(a) for a in args],
                           input=stdin, capture_output=True, text=True, env=self.env, timeout=60)
        if p.returncode != 0:
            raise AssertionError("tarn %s: %s" % (" ".join(map(str, args)), p.stderr.strip()))
        return json.loads(p.stdout) if p.stdout.strip() else None

    def gpo(self, name, ou, sets):
        return self.run("gpo", "create", "--name", name, "--parent-type", "ou", "--parent", ou,
                        "--setting", json.dumps({"gpo_content": sets}))["id"]

    def link(self, where, node, links):
        order = [{"gpo_id": g, "override": o} for g, o in links]
        self.run("link", where, node, "--links", json.dumps({"order": order}))

    def remove(self):
        shutil.rmtree(self.dir, ignore_errors=True)


class Server:
    """"tarn serve" on a port of the kernel's choosing; stop() sends SIGTERM
    and reaps it (and kills it if it lingers)."""

    def __init__(self, root):
        self.proc = subprocess.Popen(
            [root.tarn, "--root", root.dir, "serve", "--listen", "127.0.0.1:0"],
            stdout=subprocess.PIPE, stderr=open(os.path.join(root.dir, "serve.log"), "w"),
            env=root.env)
        self.base = "https://" + self.ready_listen()

    def ready_listen(self):
        # Raw reads: a buffered reader would keep the ready lines from select.
        fd, text, deadline = self.proc.stdout.fileno(), b"", time.time() + 30
        while time.time() < deadline and self.proc.poll() is None:
            if select.select([fd], [], [], 0.2)[0]:
                chunk = os.read(fd, 4096)
                if not chunk:
                    break
                text += chunk
                try:
                    return json.loads(text)["listen"]
                except ValueError:
                    continue
        self.stop()
        raise AssertionError("tarn serve did not come up: " + text.decode(errors="replace"))

    def stop(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout=15)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait(timeout=15)
                raise AssertionError("tarn serve did not stop on SIGTERM")
        self.proc.stdout.close()
        return self.proc.returncode


def check(cond, what):
    if not cond:
        raise AssertionError(what)


# ---- the scenarios; each gets (browser, root, server) ----

def sign_in(b, root, server):
    """A wrong password is refused with the one text; the right one opens the
    console, which survives a reload (the session cookie); sign-out ends it."""
    b.sign_in(server.base, "admin", "not-the-password")
    b.wait(lambda: b.text("#signin-error"))
    check("Wrong user name or password" in b.text("#signin-error"), b.text("#signin-error"))
    check(not b.find("#console").is_displayed(), "the console showed without a session")
    b.sign_in(server.base, "admin", root.passwords["admin"])
    b.wait_tree()
    check("admin (administrator)" in b.text("#who"), b.text("#who"))
    b.driver.refresh()
    b.wait_tree()
    check(b.find("#console").is_displayed(), "a reload lost the session")
    b.find("#signout").click()
    b.wait(lambda: b.find("#signin").is_displayed())
    b.driver.refresh()
    b.wait(lambda: b.find("#signin").is_displayed())
    check(not b.find("#console").is_displayed(), "signed out, yet the console shows")


def tree_and_why(b, root, server):
    """The tree holds every node with the servers' status, model and version;
    a server's policy page says which policy won Samba and why the other
    lost. On a narrow window the tree stands above the page."""
    b.sign_in(server.base, "admin", root.passwords["admin"])
    b.wait_tree()
    tree = b.content("#tree")
    for name in ("Headquarters", "Sales", "Engineering", "nas-sales", "nas-eng", "RS819 7.2"):
        check(name in tree, "%r missing from the tree: %r" % (name, tree))
    dot = b.find('#tree li.peer[data-peer="%d"] .dot' % root.nas_sales)
    check("ok" in dot.get_attribute("class"), "a ready server is not marked ready")
    b.find('#tree li.ou[data-ou="%d"] > details > summary' % root.sales).click()  # open Sales
    b.find('#tree li.peer[data-peer="%d"] a' % root.nas_sales).click()
    b.wait(lambda: "nas-sales" in b.text("#node-title"))
    check("ready" in b.text("#peer-facts") and "RS819" in b.text("#peer-facts"), b.text("#peer-facts"))
    b.find("#tab-policy").click()
    b.wait(lambda: b.finds('#sets [data-set="Samba"]'))
    samba = b.text('#sets [data-set="Samba"]')
    check("Won by Baseline" in samba and "enforced" in samba, samba)
    check("Sales shares" in samba and "later in the order" in samba, samba)
    order = b.text("#policy-order")
    check(order.index("Baseline") < order.index("Sales shares"), order)
    b.driver.set_window_size(420, 800)
    pane = b.find("#tree-pane").rect
    page = b.find("#page").rect
    check(pane["y"] + pane["height"] <= page["y"] + 1 and page["width"] <= 420,
          "narrow window: tree %s, page %s" % (pane, page))


def link_edit(b, root, server):
    """An administrator takes the enforcement off Baseline: the plan names
    the server that would change and why, the save changes the server's
    order. An edit made behind the console's back meanwhile is refused and
    the stored links are shown."""
    b.sign_in(server.base, "admin", root.passwords["admin"])
    b.wait_tree()
    b.open(server.base, "ou/%d/links" % root.hq)
    b.wait(lambda: b.finds(".link-enforced"))
    check(not b.find("#link-save").is_enabled(), "save offered before any edit")
    b.find(".link-enforced").click()
    check(not b.find("#link-save").is_enabled(), "save offered before the plan")
    b.find("#link-plan").click()
    b.wait(lambda: b.finds("#plan h3, #plan .notice"))
    plan = b.text("#plan")
    check("nas-sales" in plan and "cut off by the block" in plan, plan)
    check("nas-eng" not in plan, "a server that keeps its policy is in the plan: " + plan)
    b.find("#link-save").click()
    b.wait(lambda: "Saved" in b.text("#tab-body"))
    stored = root.run("ou", "get", root.hq)["linked_gpo"]["order"]
    check(stored == [{"id": root.baseline, "override": 0}], "stored: %r" % stored)
    b.open(server.base, "peer/%d/policy" % root.nas_sales)
    b.wait(lambda: "nas-sales" in b.text("#node-title") and b.finds("#policy-order"))
    order = b.text("#policy-order")
    check("Baseline" not in order and "Sales shares" in order, order)
    # Someone else links Baseline on Sales while the console has it open.
    b.open(server.base, "ou/%d/links" % root.sales)
    b.wait(lambda: "Sales" in b.text("#node-title") and b.finds(".link-enforced"))
    root.link("--ou", root.sales, [(root.shares, 0), (root.baseline, 1)])
    b.find(".link-enforced").click()
    b.find("#link-plan").click()
    b.wait(lambda: b.finds("#plan h3, #plan .notice"))
    b.find("#link-save").click()
    b.wait(lambda: "Stored now" in b.text(".save-result"))
    check("Baseline" in b.text(".save-result"), b.text(".save-result"))
    stored = root.run("ou", "get", root.sales)["linked_gpo"]["order"]
    check(stored == [{"id": root.shares, "override": 0}, {"id": root.baseline, "override": 1}],
          "the stale edit was written: %r" % stored)


def delegated(b, root, server):
    """alice manages Engineering only: she sees it and its server, not
    Headquarters' other branch, and a server outside her part does not open;
    she links a policy of her part on her OU, and the log names her."""
    b.sign_in(server.base, "alice", root.passwords["alice"])
    b.wait_tree()
    tree = b.content("#tree")
    check("Engineering" in tree and "nas-eng" in tree, tree)
    check("Sales" not in tree and "nas-sales" not in tree, "alice sees too much: " + tree)
    check("administrator" not in b.text("#who"), b.text("#who"))
    b.open(server.base, "peer/%d/policy" % root.nas_sales)
    b.wait(lambda: b.finds("#page .notice.error"))
    check("nas-sales" not in b.text("#page"), b.text("#page"))
    # Her own OU she manages: she links the policy of her part, planned first.
    b.open(server.base, "ou/%d/links" % root.eng)
    b.wait(lambda: b.finds("#link-add-gpo option"))
    choices = b.content("#link-add-gpo")
    check("Lab clock" in choices and "Baseline" not in choices, "offered: %r" % choices)
    b.find("#link-add").click()
    b.find("#link-plan").click()
    b.wait(lambda: "nas-eng" in b.text("#plan"))
    b.find("#link-save").click()
    b.wait(lambda: "Saved" in b.text("#tab-body"))
    stored = root.run("ou", "get", root.eng)["linked_gpo"]["order"]
    check(stored == [{"id": root.lab, "override": 0}], "stored: %r" % stored)
    b.open(server.base, "log")
    b.wait(lambda: b.finds("#log-rows .counts"))
    check("alice" in b.text("#log-rows"), "her edit has no row under her name")
    check("Sales" not in b.text("#log-rows"), "alice reads rows outside her part: " +
          b.text("#log-rows"))


def delegates_and_log(b, root, server):
    """An administrator adds bob to Engineering's managers and removes alice;
    a name that is no account is refused with nothing changed. The event log
    pages through more rows than a page holds, finds rows by a word, and
    speaks German when asked."""
    for i in range(55):
        root.run("ou", "create", "--name", "Branch %02d" % i, "--parent", root.hq)
    b.sign_in(server.base, "admin", root.passwords["admin"])
    b.wait_tree()
    b.open(server.base, "ou/%d/delegates" % root.eng)
    b.wait(lambda: "alice" in b.text("#delegates"))

    def managers():
        return sorted(d["extra_info"]["userNameCache"]
                      for d in root.run("delegates", "list", "--ou", root.eng))

    b.find("#delegate-name").send_keys("bob")
    b.find("#delegate-add button").click()
    b.wait(lambda: "bob" in b.text("#delegates"))
    check(managers() == ["alice", "bob"], "stored: %r" % managers())
    b.find('.delegate-remove[data-name="alice"]').click()
    b.wait(lambda: "alice" not in b.text("#delegates"))
    check(managers() == ["bob"], "stored: %r" % managers())
    b.find("#delegate-name").send_keys("nobody-here")
    b.find("#delegate-add button").click()
    b.wait(lambda: b.finds("#tab-body .notice.error"))
    check(managers() == ["bob"], "a refused name changed the managers: %r" % managers())

    b.find("#nav-log").click()
    b.wait(lambda: "of " in b.text("#log-rows .pager-pos"))
    total = int(b.text("#log-rows .pager-pos").split(" of ")[1])
    check(total > 55 and b.text("#log-rows .pager-pos").startswith("1–50"), b.text("#log-rows .pager-pos"))
    b.find("#log-rows .pager-next").click()
    b.wait(lambda: b.text("#log-rows .pager-pos").startswith("51–"))
    check(len(b.finds("#log-rows table.log tbody tr")) == min(50, total - 50), "second page")
    b.find("#log-word").send_keys("Branch 07")
    b.find("form.filters button[type=submit]").click()
    b.wait(lambda: b.text("#log-rows .pager-pos").startswith("1–"))
    rows = [r.text for r in b.finds("#log-rows table.log tbody tr")]
    check(rows and all("Branch 07" in r for r in rows), "search: %r" % rows)
    from selenium.webdriver.support.select import Select
    Select(b.find("#lang")).select_by_value("ger")
    b.wait(lambda: "erstellt" in b.text("#log-rows"))


SCENARIOS = {f.__name__: f for f in (sign_in, tree_and_why, link_edit, delegated,
                                     delegates_and_log)}


def main(argv):
    if len(argv) != 5 or argv[4] not in SCENARIOS:
        print(__doc__.split("\n\n")[1], "\nscenarios:", " ".join(SCENARIOS), file=sys.stderr)
        return 2
    tarn, data, failures, name = argv[1:]
    try:
        import console_browser
    except ImportError as e:
        print("SKIP: selenium is missing (%s)" % e)
        return SKIP
    if not console_browser.chromium_paths():
        print("SKIP: chromium or chromedriver is not installed")
        return SKIP
    root = Root(tarn, data)
    server = browser = None
    try:
        server = Server(root)
        browser = console_browser.Browser()
        SCENARIOS[name](browser, root, server)
        print("%s: passed" % name)
        return 0
    except Exception:
        traceback.print_exc()
        if browser:
            os.makedirs(failures, exist_ok=True)
            png = os.path.join(failures, name + ".png")
            browser.driver.save_screenshot(png)
            print("screenshot: " + png)
        if os.path.exists(os.path.join(root.dir, "serve.log")):
            with open(os.path.join(root.dir, "serve.log")) as f:
                print("serve.log (tail):\n" + "".join(f.readlines()[-20:]))
        return 1
    finally:
        if browser:
            browser.close()
        if server:
            server.stop()
        root.remove()


if __name__ == "__main__":
    sys.exit(main(sys.argv))
