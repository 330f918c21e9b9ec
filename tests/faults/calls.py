"""The calls that can be made to fail, in the order of fault_plan.h, each with the errors that it fails by."""
import errno

EAI_AGAIN, EAI_MEMORY = -3, -10
CALLS = [
    ('allocation', [errno.ENOMEM]),
    ('interpreter', [errno.ENOMEM]),
    ('socket', [errno.EMFILE]),
    ('bind', [errno.EADDRINUSE, errno.EACCES]),
    ('connect', [errno.ECONNREFUSED, errno.EINTR]),
    ('listen', [errno.EADDRINUSE]),
    ('accept4', [errno.ECONNABORTED, errno.EMFILE]),
    ('setsockopt', [errno.ENOBUFS]),
    ('getsockopt', [errno.ENOBUFS]),
    ('getsockname', [errno.ENOBUFS]),
    ('getpeername', [errno.ENOTCONN]),
    ('ioctl', [errno.EINVAL]),
    ('send', [errno.ENOBUFS, errno.EINTR]),
    ('sendto', [errno.ENETUNREACH, errno.EPERM, errno.EINTR]),
    ('recv', [errno.ENOMEM]),
    ('recvfrom', [errno.ENOMEM, errno.ECONNREFUSED, errno.EAGAIN]),
    ('poll', [errno.ENOMEM, errno.EINTR]),
    ('shutdown', [errno.ENOTCONN]),
    ('getifaddrs', [errno.ENOMEM]),
    ('getaddrinfo', [EAI_AGAIN, EAI_MEMORY]),
    ('pthread_create', [errno.EAGAIN]),
    ('pthread_mutex_init', [errno.ENOMEM]),
    ('pthread_mutexattr_init', [errno.ENOMEM]),
    ('clock_nanosleep', [errno.EINTR]),
    ('write', [errno.EAGAIN, errno.EINTR]),
]
