"""Calls that keep nobody alive."""

from __future__ import absolute_import

import weakref


class WeakMethod(object):
    """A method of an object, for as long as somebody else holds the object.

    The garbage collector looks into neither an engine nor a thread that runs: what they called by a strong
    reference would never go. `gone` is called when the object has gone, if it is given.
    """

    def __init__(self, method, gone=None):
        self._object = weakref.ref(method.im_self, gone)
        self._function = method.im_func

    def __call__(self, *arguments):
        owner = self._object()
        return None if owner is None else self._function(owner, *arguments)
