"""A peer of the library (veldrake, veldrake-devicesim) holds none of its code: no symbol
whose top-level name (namespace, class, function or variable) the library's own symbol
table has."""
import os
import re
import subprocess
import unittest

# What the toolchain and the libraries both sides use put into any binary.
SHARED = {'_GLOBAL__N_1', '__gnu_cxx', '__pstl', '__static_initialization_and_destruction_0',
          'boost', 'completed.0', 'deregister_tm_clones', 'register_tm_clones', 'frame_dummy'}
# _Z; a vtable, typeinfo or guard prefix; a local entity's Z; a nested name's N with its
# qualifiers; then the first name as <length><identifier>. Others (std::...) are skipped.
MANGLED = re.compile(r'_Z(?:T[VIS]|GV)?Z?(?:N[rVKRO]*)?(\d+)(\w+)')


def defined_names(binary):
    """{top-level name: [symbols under it]} of every symbol `binary` defines."""
    listing = subprocess.run(['nm', '--defined-only', binary], capture_output=True,
                             text=True, check=True).stdout
    names = {}
    for symbol in (line.split()[-1] for line in listing.splitlines() if line.strip()):
        m = MANGLED.match(symbol)
        if m or not (symbol.startswith('_') or '.' in symbol):  # C names: ours only
            names.setdefault(m.group(2)[:int(m.group(1))] if m else symbol, []).append(symbol)
    return names


class PeerHoldsNoLibraryCode(unittest.TestCase):
    def test_no_symbol_of_the_peer_has_a_library_name(self):
        library = defined_names(os.environ['LIBRARY']).keys() - SHARED
        self.assertLessEqual({'GetData', 'pTemp', 'iSocket', 'prop', 'BPListReader', 'QX',
                              'IOSContact', 'PListNoteAnalysis', 'html_encode'}, library)
        peer = defined_names(os.environ['PEER'])
        held = sorted({s for name in peer.keys() & library for s in peer[name]})
        if held:
            demangled = subprocess.run(['c++filt', *held], capture_output=True, text=True)
            self.fail('%s holds library code:\n%s' % (os.environ['PEER'], demangled.stdout))


if __name__ == '__main__':
    unittest.main()
