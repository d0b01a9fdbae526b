"""The mail programs: a profile with one account for each, so that a compose window can come."""
import re
import textwrap

ADDRESS = "ann@a.example"


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(textwrap.dedent(text).lstrip())


class Client:
    """What is the same for all."""
    name = program = desktop_id = package = ""

    def prepare(self, desktop):
        pass

    def looks_ready(self, desktop):
        """Before the share, where the program has to run already."""
        return True

    def shown(self, desktop):
        """All that the compose window says."""
        return "\n".join(desktop.titles()) + "\n" + desktop.texts()


class Thunderbird(Client):
    name, program, desktop_id = "Thunderbird", "thunderbird", "thunderbird"

    def prepare(self, desktop):
        root = desktop.home / ".thunderbird"
        write(root / "profiles.ini", """
            [InstallFDC34C9F024745EB]
            Default=p.default
            Locked=1

            [Profile0]
            Name=default
            IsRelative=1
            Path=p.default
            Default=1

            [General]
            StartWithLastProfile=1
            Version=2
            """)
        write(root / "installs.ini", """
            [FDC34C9F024745EB]
            Default=p.default
            Locked=1
            """)
        prefs = {
            "mail.accountmanager.accounts": "account1,account2",
            "mail.accountmanager.defaultaccount": "account1",
            "mail.accountmanager.localfoldersserver": "server2",
            "mail.account.account1.identities": "id1",
            "mail.account.account1.server": "server1",
            "mail.account.account2.server": "server2",
            "mail.identity.id1.fullName": "Ann",
            "mail.identity.id1.useremail": ADDRESS,
            "mail.identity.id1.smtpServer": "smtp1",
            "mail.identity.id1.valid": True,
            "mail.server.server1.type": "pop3",
            "mail.server.server1.hostname": "localhost",
            "mail.server.server1.userName": "ann",
            "mail.server.server1.name": ADDRESS,
            "mail.server.server1.login_at_startup": False,
            "mail.server.server1.check_new_mail": False,
            "mail.server.server2.type": "none",
            "mail.server.server2.hostname": "Local Folders",
            "mail.server.server2.userName": "nobody",
            "mail.server.server2.name": "Local Folders",
            "mail.smtpservers": "smtp1",
            "mail.smtp.defaultserver": "smtp1",
            "mail.smtpserver.smtp1.hostname": "localhost",
            "mail.smtpserver.smtp1.port": 2525,
            "mail.smtpserver.smtp1.username": "ann",
            "mail.shell.checkDefaultClient": False,
            "mail.spotlight.firstRunDone": True,
            "mail.provider.suppress_dialog_on_startup": True,
            "mail.rights.version": 1,
            "mailnews.start_page.enabled": False,
            "app.donation.eoy.version.viewed": 999,
            "app.update.enabled": False,
            "extensions.update.enabled": False,
            "datareporting.policy.dataSubmissionEnabled": False,
            "datareporting.policy.dataSubmissionPolicyBypassNotification": True,
            "toolkit.telemetry.reportingpolicy.firstRun": False,
            "accessibility.force_disabled": -1,
            "mail.compose.attachment_reminder": False,
            "network.proxy.type": 0,
        }
        lines = []
        for key, value in prefs.items():
            shown = ("true" if value else "false") if isinstance(value, bool) else (
                str(value) if isinstance(value, int) else f'"{value}"')
            lines.append(f'user_pref("{key}", {shown});')
        write(root / "p.default/prefs.js", "\n".join(lines) + "\n")


    def shown(self, desktop):
        # Its list of attachments says "list .csv 4 bytes".
        return re.sub(r" (\.\w+ [\d.,]+ (bytes|KB|MB))", r"\1", super().shown(desktop))


class KMail(Client):
    name, program, desktop_id = "KMail", "kmail", "org.kde.kmail2"

    def prepare(self, desktop):
        write(desktop.home / "config/akonadi/akonadiserverrc", """
            [%General]
            Driver=QSQLITE3
            """)
        write(desktop.home / "config/emailidentities", f"""
            [General]
            Default Identity=1

            [Identity #0]
            Email Address={ADDRESS}
            Identity=Ann
            Name=Ann
            uoid=1
            """)
        write(desktop.home / "config/kmail2rc", """
            [General]
            first-start=false

            [GlobalSettings]
            AskEnableUnifiedMailboxes=false
            """)


class Evolution(Client):
    name, program, desktop_id = "Evolution", "evolution", "org.gnome.Evolution"

    def prepare(self, desktop):
        sources = desktop.home / "config/evolution/sources"
        write(sources / "test-account.source", """
            [Data Source]
            DisplayName=Ann
            Enabled=true
            Parent=

            [Mail Account]
            BackendName=none
            IdentityUid=test-identity
            ArchiveFolder=
            NeedsInitialSetup=false
            """)
        write(sources / "test-identity.source", f"""
            [Data Source]
            DisplayName=Ann
            Enabled=true
            Parent=test-account

            [Mail Identity]
            Address={ADDRESS}
            Name=Ann

            [Mail Submission]
            SentFolder=folder://local/Sent
            TransportUid=test-transport

            [Mail Composition]
            DraftsFolder=folder://local/Drafts
            """)
        write(sources / "test-transport.source", """
            [Data Source]
            DisplayName=Ann
            Enabled=true
            Parent=test-account

            [Mail Transport]
            BackendName=smtp

            [Authentication]
            Host=localhost
            Method=plain/password
            Port=2525
            User=ann

            [Security]
            Method=none
            """)


class ClawsMail(Client):
    name, program, desktop_id = "Claws Mail", "claws-mail", "claws-mail"

    def prepare(self, desktop):
        root = desktop.home / ".claws-mail"
        write(root / "accountrc", f"""
            [Account: 1]
            account_name={ADDRESS}
            is_default=1
            name=Ann
            address={ADDRESS}
            protocol=5
            receive_at_get_all=0
            smtp_server=localhost
            inbox=#mh/Mail/inbox
            """)
        write(root / "folderlist.xml", """
            <?xml version="1.0" encoding="UTF-8"?>
            <folderlist>
              <folder type="mh" name="Mail" path="Mail">
                <folderitem type="inbox" name="inbox" path="inbox"/>
                <folderitem type="outbox" name="sent" path="sent"/>
                <folderitem type="draft" name="draft" path="draft"/>
                <folderitem type="queue" name="queue" path="queue"/>
                <folderitem type="trash" name="trash" path="trash"/>
              </folder>
            </folderlist>
            """)
        write(root / "clawsrc", """
            [Common]
            config_version=4
            enable_aspell=0
            """)
        for folder in ("inbox", "sent", "draft", "queue", "trash"):
            (desktop.home / "Mail" / folder).mkdir(parents=True, exist_ok=True)


class NeoMutt(Client):
    name, program, desktop_id = "neomutt", "neomutt", "neomutt"

    def prepare(self, desktop):
        # What it shows is read from the terminal: a program between the two writes it down.
        terminal = desktop.home / "bin/xdg-terminal-exec"
        write(terminal, f"""
            #!/bin/sh
            exec xterm -fa Monospace -geometry 120x40 -e script -q -f -O {desktop.home}/terminal -c "$(printf "'%s' " "$@")"
            """)
        terminal.chmod(0o755)
        # The editor comes first and is gone at once; what it was given is kept.
        write(desktop.home / "bin/editor", f"""
            #!/bin/sh
            cat "$1" >>{desktop.home}/edited
            """)
        (desktop.home / "bin/editor").chmod(0o755)
        for part in ("cur", "new", "tmp"):
            (desktop.home / "Mail" / part).mkdir(parents=True, exist_ok=True)
        write(desktop.home / ".neomuttrc", f"""
            set from={ADDRESS}
            set realname=Ann
            set editor={desktop.home}/bin/editor
            set folder={desktop.home}/Mail
            set spoolfile={desktop.home}/Mail
            set record=""
            set autoedit
            set edit_headers
            """)

    def shown(self, desktop):
        text = ""
        for part in ("terminal", "edited"):
            try:
                text += (desktop.home / part).read_text(errors="replace")
            except OSError:
                pass
        return re.sub(r"\x1b(\[[0-?]*[ -/]*[@-~]|[()][0-9A-Za-z]|[=>])", "", text)


ALL = [Thunderbird(), KMail(), Evolution(), ClawsMail(), NeoMutt()]
