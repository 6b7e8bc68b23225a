"""EncMgr from Python: pictures and samples of numpy become finished media files.

>>> import encmgr, numpy as np
>>> with encmgr.open("out.mkv", size=(320, 240), rate=25, video="FFV1", audio=encmgr.Audio(48000, 2)) as job:
...     for i in range(50):
...         job.write(np.full((240, 320, 3), 5 * i, np.uint8))
...         job.write_audio(np.zeros((1920, 2), np.float32))

:func:`formats` lists what there is, :func:`resize` and :func:`convert` are the library's toolbox. The library's log
goes to the logger "encmgr" at the level DEBUG. docs/python.md is the guide.
"""

from ._errors import EncodeError, Error, LibraryError
from ._formats import Encoder, Format, Formats, formats
from ._job import CloseReport, Job
from ._open import Audio, open  # pylint: disable=redefined-builtin
from ._pictures import convert, resize

__version__ = "0.1.0"
__all__ = ["Audio", "CloseReport", "EncodeError", "Encoder", "Error", "Format", "Formats", "Job", "LibraryError",
           "convert", "formats", "open", "resize"]
