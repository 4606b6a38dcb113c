"""Finds the library, loads it, and says what its functions take."""

from __future__ import annotations

import ctypes
import ctypes.util
import functools
import os
import pathlib
import sys
from typing import Any, List

from .errors import LibraryNotFound

ABI_VERSION = 1
"""What this package was written against: the library must have it, or a larger one."""

_IS_WINDOWS = sys.platform == "win32"
_FILE_NAME = "ZEL_Processor.dll" if _IS_WINDOWS else "libZEL_Processor.so.0"


class ClientOptions(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("syncing", ctypes.c_int32),
        ("allow_reading", ctypes.c_int32),
        ("checked_watch", ctypes.c_int32),
        ("poll_ms", ctypes.c_int64),
        ("command_timeout_ms", ctypes.c_int64),
        ("server_absence_ms", ctypes.c_int64),
        ("own_directory", ctypes.c_char_p),
    ]


class Status(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("state", ctypes.c_int32),
        ("percent", ctypes.c_int32),
        ("has_ended", ctypes.c_int32),
        ("changed", ctypes.c_int64),
        ("name", ctypes.c_char_p),
        ("comment", ctypes.c_char_p),
    ]


class Bytes(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("reserved", ctypes.c_uint32),
        ("length", ctypes.c_size_t),
        ("bytes", ctypes.c_void_p),
    ]


class ServerInfo(ctypes.Structure):
    """The beginning, which is all that is looked at."""

    _fields_ = [("size", ctypes.c_uint32), ("presence", ctypes.c_int32)]


class LastError(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("code", ctypes.c_int32),
        ("text", ctypes.c_char_p),
        ("detail", ctypes.c_char_p),
    ]


STATUS_CALLBACK = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(Status))

_HANDLE = ctypes.c_void_p
_TEXT = ctypes.c_char_p
_OUT = ctypes.POINTER(ctypes.c_void_p)
_FUNCTIONS: Any = {
    "zel_abi_version": (ctypes.c_uint32, []),
    "zel_version": (_TEXT, []),
    "zel_last_error": (ctypes.POINTER(LastError), []),
    "zel_code_name": (_TEXT, [ctypes.c_int32]),
    "zel_code_text": (_TEXT, [ctypes.c_int32]),
    "zel_state_name": (_TEXT, [ctypes.c_int32]),
    "zel_free": (None, [ctypes.c_void_p]),
    "zel_client_options_init": (ctypes.c_int32, [ctypes.POINTER(ClientOptions), ctypes.c_size_t]),
    "zel_client_open": (ctypes.c_int32, [_TEXT, _TEXT, ctypes.POINTER(ClientOptions), _OUT]),
    "zel_client_stop": (ctypes.c_int32, [_HANDLE]),
    "zel_client_close": (ctypes.c_int32, [_HANDLE]),
    "zel_send_file": (ctypes.c_int32, [_HANDLE, _TEXT, _TEXT, _OUT]),
    "zel_send_text": (ctypes.c_int32, [_HANDLE, _TEXT, ctypes.c_size_t, _TEXT, _OUT]),
    "zel_get_status": (ctypes.c_int32, [_HANDLE, _TEXT, _OUT]),
    "zel_follow": (ctypes.c_int32, [_HANDLE, _TEXT, STATUS_CALLBACK, ctypes.c_void_p, _OUT]),
    "zel_follower_close": (ctypes.c_int32, [_HANDLE]),
    "zel_cancel": (ctypes.c_int32, [_HANDLE, _TEXT]),
    "zel_pause": (ctypes.c_int32, [_HANDLE, _TEXT]),
    "zel_resume": (ctypes.c_int32, [_HANDLE, _TEXT]),
    "zel_receive": (ctypes.c_int32, [_HANDLE, _TEXT, _TEXT]),
    "zel_receive_bytes": (ctypes.c_int32, [_HANDLE, _TEXT, _OUT]),
    "zel_forget": (ctypes.c_int32, [_HANDLE, _TEXT]),
    "zel_get_server_info": (ctypes.c_int32, [_HANDLE, _OUT]),
}


def _candidates() -> List[str]:
    """Where the library may be, in this order. ``ZEL_LIBRARY`` is somebody's decision, so nothing stands beside it."""
    chosen = os.environ.get("ZEL_LIBRARY")
    if chosen:
        return [chosen]
    found = ctypes.util.find_library("ZEL_Processor")
    beside = pathlib.Path(__file__).resolve().parent / _FILE_NAME
    return [str(beside), _FILE_NAME] + ([found] if found and found != _FILE_NAME else [])


def _open(path: str) -> ctypes.CDLL:
    if _IS_WINDOWS and os.path.isabs(path):
        # The DLLs beside it, too: the flags of the system's loader for "the folder of this DLL, and the usual ones".
        return ctypes.CDLL(path, winmode=0x00000100 | 0x00001000)
    return ctypes.CDLL(path)


@functools.lru_cache(maxsize=None)
def load() -> Any:
    """The library, ready to be called. Raises :class:`LibraryNotFound`, which names all that was tried."""
    tried = []
    for path in _candidates():
        try:
            library = _open(path)
        except OSError as error:
            tried.append(f"{path}: {error}")
            continue
        try:
            library.zel_abi_version.restype = ctypes.c_uint32
            version = int(library.zel_abi_version())
        except AttributeError:
            tried.append(f"{path}: has no interface for C")
            continue
        if version < ABI_VERSION:
            tried.append(f"{path}: has version {version} of the interface, needed is {ABI_VERSION}")
            continue
        for name, (result, arguments) in _FUNCTIONS.items():
            function = getattr(library, name)
            function.restype = result
            function.argtypes = arguments
        return library
    raise LibraryNotFound("The library of ZEL_Processor cannot be loaded. Tried: " + "; ".join(tried))
