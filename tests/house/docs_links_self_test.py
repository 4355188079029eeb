"""The link check finds dead links and headings, and nothing else."""
import os
import tempfile
import unittest

import docs_links_test


class LinksTest(unittest.TestCase):
    def test_dead_links_are_found_with_their_line(self):
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "docs"))
            with open(os.path.join(folder, "docs", "a.md"), "w", encoding="utf-8") as file:
                file.write("# A `b` title\n[ok](b.md) [up](../README.md#start-here) [web](https://example.org/x)\n"
                           "[dead](c.md)\n```\n[in code](d.md)\n```\n[no heading](b.md#nowhere) [own](#a-b-title)\n")
            with open(os.path.join(folder, "docs", "b.md"), "w", encoding="utf-8") as file:
                file.write("# B\n")
            with open(os.path.join(folder, "README.md"), "w", encoding="utf-8") as file:
                file.write("## Start here\n")
            self.assertEqual(docs_links_test.faults_in(folder),
                             ["docs/a.md:3: c.md: no such file", "docs/a.md:7: b.md#nowhere: no such heading"])


if __name__ == "__main__":
    unittest.main()
