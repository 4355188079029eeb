"""The layering check finds wrong includes, names their place and leaves right ones alone."""
import os
import subprocess
import sys
import tempfile
import unittest

import layering

HERE = os.path.dirname(os.path.abspath(__file__))


class LayeringTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def write(self, path, text):
        full = os.path.join(self.folder.name, path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        with open(full, "w", encoding="utf-8") as file:
            file.write(text)

    def faults(self):
        return [(path, line, header) for path, line, header, _ in layering.faults_in(self.folder.name)]

    def test_right_includes_pass(self):
        self.write("interfaces/txlib/port.h", '#pragma once\n#include <vector>\n#include <boost/function.hpp>\n'
                                              '#include "plugin/iplugin.h"\n#include "txlib/data.h"\n')
        self.write("host/txlib/state.h", "#pragma once\n")
        self.write("host/txlib/port.cpp", '#include "txlib/port.h"\n#include "state.h"\n#include <tbb/task_group.h>\n')
        self.write("tx_general/shared.h", "#pragma once\n")
        self.write("tx_general/merge.cpp", '#include "shared.h"\n#include "txbasiclib/color.h"\n#include <unistd.h>\n')
        self.write("apps/tessera/main.cpp", '#include "txlib/model.h"\n#include <CLI/CLI.hpp>\n')
        self.write("host/kprj/projcalls.h", "#pragma once\n")
        self.write("host/modules/proj/find.cpp", '#include "projcalls.h"\n#include "kcommon/kstr.h"\n#include <proj.h>\n')
        self.assertEqual(self.faults(), [])

    def test_wrong_includes_are_found(self):
        rows = [
            ("interfaces/kcommon/a.h", '#include "txlib/port.h"'),          # from a higher floor
            ("interfaces/plugin/b.h", '#include "korvenlog/log.h"'),        # from the same floor
            ("interfaces/jsonlib/c.h", "#include <rapidjson/reader.h>"),    # a third party's type in an interface
            ("interfaces/txlib/d.h", '#include "d_private.h"'),             # private header in an interface
            ("tx_general/e.cpp", '#include "operatorstate.h"'),             # the host's private header
            ("tx_general/f.cpp", '#include "host/txlib/operatorstate.h"'),
            ("tx_general/g.cpp", '#include "../host/txlib/operatorstate.h"'),
            ("tx_general/h.cpp", "#include <openssl/evp.h>"),
            ("tx_general/i.cpp", "#include <proj.h>"),
            ("host/kcommon/j.cpp", '#  include "txbasiclib/color.h"'),
            ("host/modules/proj/l.cpp", '#include "txgeospatiallib/crsutils.h"'),  # from above the room that it serves
            ("host/nowhere/k.cpp", '#include "txlib/port.h"'),              # a room that is in no list
        ]
        self.write("host/txlib/operatorstate.h", "#pragma once\n")
        self.write("interfaces/txlib/d_private.h", "#pragma once\n")
        for path, line in rows:
            self.write(path, "// first line\n" + line + "\n")
        expected = [(path, 2, line.replace("<", '"').replace(">", '"').split('"')[1]) for path, line in rows]
        self.assertEqual(sorted(self.faults()), sorted(expected))

    def test_program_prints_place_and_rule(self):
        self.write("interfaces/kcommon/kstr.h", '#pragma once\n\n#include "txlib/port.h"\n')
        run = subprocess.run([sys.executable, os.path.join(HERE, "layering.py"), self.folder.name],
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stdout, 'interfaces/kcommon/kstr.h:3: "txlib/port.h": '
                                     "kcommon stands below or beside txlib and can't use it\n")

    def test_an_empty_tree_is_no_success(self):
        run = subprocess.run([sys.executable, os.path.join(HERE, "layering.py"), self.folder.name],
                             capture_output=True, text=True)
        self.assertNotEqual(run.returncode, 0)


if __name__ == "__main__":
    unittest.main()
