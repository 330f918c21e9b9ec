"""What can be read of this machine's firewall without being its administrator."""

from __future__ import absolute_import

import collections
import os
import re
import subprocess

# `drops` is None where that cannot be told.
State = collections.namedtuple('State', 'says drops')

UNREADABLE = 'its rules cannot be read without being root'
NO_TOOL = 'neither nft nor iptables is here to read its rules'
WITHOUT_KEY = 'its settings cannot be read'


def state_of_rules(tool, rules):
    """Of what `nft list ruleset` or `iptables -S` printed."""
    without_texts = re.sub(r'"[^"]*"', '', rules)
    count = len(re.findall(r'(?i)\b(?:drop|reject)\b', without_texts))
    if count == 0:
        return State('%s: no rule drops anything' % tool, False)
    return State('%s: %d of its rules and policies drop or reject' % (tool, count), True)


def state_of_profiles(profiles):
    """Of the settings of Windows: for each profile whether it is on, whether it lets nothing in at all, and
    whether it drops what answers a broadcast. One that cannot be read is None."""
    on = sorted(name for name, settings in profiles.items() if settings and settings[0])
    if not on:
        known = any(profiles.values())
        return State('off' if known else WITHOUT_KEY, False if known else None)
    strict = [name for name in on if profiles[name][1] or profiles[name][2]]
    if strict:
        return State('on for %s, and drops all answers in %s' % (', '.join(on), ', '.join(strict)), True)
    return State('on for %s; without a rule it lets answers in for 3 s only' % ', '.join(on), True)


if os.name == 'nt':
    import _winreg

    _POLICY = r'SYSTEM\CurrentControlSet\Services\SharedAccess\Parameters\FirewallPolicy'
    _PROFILES = (
        ('domain networks', 'DomainProfile'),
        ('private networks', 'StandardProfile'),
        ('public networks', 'PublicProfile'),
    )
    _SETTINGS = ('EnableFirewall', 'DoNotAllowExceptions', 'DisableUnicastResponsesToMulticastBroadcast')

    def _profile(key_name):
        try:
            key = _winreg.OpenKey(_winreg.HKEY_LOCAL_MACHINE, _POLICY + '\\' + key_name)
        except EnvironmentError:
            return None
        with key:
            return [_setting(key, name) for name in _SETTINGS]

    def _setting(key, name):
        try:
            return bool(_winreg.QueryValueEx(key, name)[0])
        except EnvironmentError:
            return False

    def state():
        return state_of_profiles(dict((name, _profile(key)) for name, key in _PROFILES))

else:
    _TOOLS = (('nftables', ('nft', 'list', 'ruleset')), ('iptables', ('iptables', '-S')))
    _FOLDERS = ('/usr/sbin', '/sbin', '/usr/local/sbin')  # which the path of a user often leaves out
    _UFW = '/etc/ufw/ufw.conf'

    def _run(command):
        """What it printed; None where it failed."""
        path = os.pathsep.join((os.environ.get('PATH', os.defpath),) + _FOLDERS)
        environment = dict(os.environ, PATH=path, LC_ALL='C')
        process = subprocess.Popen(
            ('env',) + command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE
        )
        output = process.communicate()[0]
        return output if process.returncode == 0 else None, process.returncode

    def _ufw_is_on():
        try:
            with open(_UFW) as file:
                return re.search(r'(?m)^ENABLED=yes', file.read()) is not None
        except IOError:
            return False

    def state():
        """Of the first tool that tells it."""
        without = True
        for tool, command in _TOOLS:
            output, code = _run(command)
            if output is not None:
                return state_of_rules(tool, output)
            without = without and code == 127  # not found
        if _ufw_is_on():
            return State('ufw is on; ' + UNREADABLE, True)
        return State(NO_TOOL if without else UNREADABLE, None)
