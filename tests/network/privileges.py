"""Machines that allow less than this one."""

# User namespaces give every privilege anew, so there are none: further in their number is 0. Where
# the machine has none anyway, the command runs right away.
_WITHOUT_USER_NAMESPACES = '''
unshare --user true 2>/dev/null || exec "$@"
exec unshare --user --map-root-user --net sh -c '
    echo 0 >/proc/sys/user/max_user_namespaces && exec "$@"' sh "$@"
'''


def reduced(capabilities, *command):
    """The command line for a command without user namespaces and with these privileges taken away
    (as setpriv writes them: `-net_admin,-net_raw`)."""
    return ('sh', '-c', _WITHOUT_USER_NAMESPACES, 'sh', 'setpriv', '--bounding-set', capabilities) + command
