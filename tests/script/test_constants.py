"""Parts of the runtime that the module's own tables have no use for, through a test module that is
built from the same sources."""
import unittest

import support
import vireon_probe as probe


class PackedValues(unittest.TestCase):
    def test_texts_show_the_bytes_in_stored_order(self):
        packed = probe.packed('\x01\xab\x00')
        self.assertEqual('PySwigPacked', type(packed).__name__)
        self.assertEqual('Swig object carries a C/C++ instance pointer', type(packed).__doc__)
        self.assertEqual('_01ab00_p_NPT_Result', str(packed))
        self.assertEqual('<Swig Packed at _01ab00_p_NPT_Result>', repr(packed))

    def test_bytes_that_do_not_fit_a_text_are_left_out(self):
        self.assertEqual('_' + 511 * '61' + '_p_NPT_Result', str(probe.packed(511 * 'a')))
        self.assertEqual('_p_NPT_Result', str(probe.packed(512 * 'a')))
        self.assertEqual('<Swig Packed _p_NPT_Result>', repr(probe.packed(512 * 'a')))

    def test_no_bytes(self):
        self.assertEqual('<Swig Packed at __p_NPT_Result>', repr(probe.packed('')))
        self.assertEqual(probe.packed(''), probe.packed(''))

    def test_the_count_is_compared_first_and_then_the_text(self):
        self.assertEqual(-1, cmp(probe.packed('z'), probe.packed('aa')))
        self.assertEqual(
            [-1, 0, 1], [cmp(probe.packed('ab'), probe.packed(other)) for other in ('ac', 'ab', 'aa')]
        )
        self.assertEqual(1, cmp(probe.packed('\xff'), probe.packed('a')))

    def test_the_comparison_ends_at_the_first_zero(self):
        self.assertEqual(probe.packed('a\x00b'), probe.packed('a\x00c'))
        self.assertNotEqual(probe.packed('a\x00b'), probe.packed('b\x00b'))

    def test_values_without_a_zero_are_compared_within_their_copies(self):
        for size in (1, 7, 8, 15, 16, 100, 4096):
            self.assertEqual(0, cmp(probe.packed(size * 'x'), probe.packed(size * 'x')))


class Constants(unittest.TestCase):
    def test_pointers_and_packed_values_are_installed_and_the_rest_skipped(self):
        constants = probe.constants()
        self.assertEqual(['BYTES', 'NOWHERE', 'NO_BYTES', 'NUMBER'], sorted(constants))
        self.assertEqual(probe.number_address(), int(constants['NUMBER']))
        self.assertIs(False, constants['NUMBER'].own())
        self.assertIs(None, constants['NOWHERE'])
        self.assertIs(None, constants['NO_BYTES'])
        self.assertEqual('_01ab_p_NPT_Result', str(constants['BYTES']))


class Documentation(unittest.TestCase):
    def test_a_reference_to_a_pointer_constant_becomes_its_rendering(self):
        rendering = str(probe.constants()['NUMBER'])
        self.assertEqual(
            'A number, swig_ptr: ' + rendering, probe.documentation('A number, swig_ptr: NUMBER')
        )
        self.assertEqual('swig_ptr: ' + rendering, probe.documentation('swig_ptr: NUMBER and more'))

    def test_everything_else_stays(self):
        for text in (
            None,
            '',
            'A function.',
            'swig_ptr:NUMBER',
            'swig_ptr: OTHER',
            'swig_ptr: NOWHERE',
            'swig_ptr: BYTES',
            'swig_ptr: NUM',
            'swig_ptr: ',
        ):
            self.assertEqual(text, probe.documentation(text))


class Queries(unittest.TestCase):
    def test_the_mangled_name_comes_first(self):
        self.assertEqual('_p_char', probe.query('_p_char', 'float *'))

    def test_human_names_are_searched_by_alternative_whatever_the_blanks(self):
        for human_name in ('char *', 'char*', ' c h a r *', 'TCHAR *', 'TCHAR*  '):
            self.assertEqual('_p_char', probe.query('?', human_name))
        self.assertEqual('_p_unsigned_long_long', probe.query('?', 'unsignedlonglong*'))

    def test_parts_of_names_find_nothing(self):
        for human_name in ('char', 'char *|TCHAR *', '', 'har *', 'CHAR *', 'char **'):
            self.assertIs(None, probe.query('?', human_name))


class Exceptions(unittest.TestCase):
    def test_each_code_has_its_exception(self):
        for code, exception in [
            (-1, TypeError),
            (-2, IOError),
            (-3, RuntimeError),
            (-4, IndexError),
            (-5, TypeError),
            (-6, ZeroDivisionError),
            (-7, OverflowError),
            (-8, SyntaxError),
            (-9, ValueError),
            (-10, SystemError),
            (-11, AttributeError),
            (-12, MemoryError),
            (-13, RuntimeError),
            (-100, RuntimeError),
        ]:
            self.assertIs(exception, probe.exception_for(code))


assert support  # finds the test modules

if __name__ == '__main__':
    unittest.main()
