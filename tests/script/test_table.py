"""The table that the reference is made of, held against the module and the package."""
import inspect
import re
import unittest

import contract
import vireon
from vireon import table


def of_contract(result):
    if isinstance(result, contract.Result):
        return result.kind, result.own
    return result, None


def of_table(result):
    kept, _, kind = result.partition(' ')
    return (kind, kept != 'borrowed') if kind else (kept, None)


def stub_names(members):
    return [re.match(r'(?:def )?(\w+)', member).group(1) for member in members]


def stub_arguments(member):
    """Of a function: names, and how many have a default; of anything else nothing."""
    match = re.match(r'def \w+\((.*)\) ->', member)
    if not match:
        return None
    names = [name for name in re.findall(r'(?:^|, )\*?(\w+)(?=[:,]|$)', match.group(1))]
    return names, match.group(1).count('= ...')


def is_own(name):
    return not name.startswith('_') or name in ('__enter__', '__exit__', '__iter__', '__len__', '__getitem__')


def members_of(offered):
    """What the package's classes have by themselves."""
    names = set()
    for each in inspect.getmro(offered):
        if each.__module__.startswith('vireon.'):
            names.update(name for name in vars(each) if is_own(name))
    return names


class Module(unittest.TestCase):
    def test_it_has_these_functions_in_this_order(self):
        # The contract is held against the module itself, in test_contract.py.
        self.assertEqual([name for name, _, _ in contract.FUNCTIONS], [row.name for row in table.FUNCTIONS])

    def test_they_take_and_give_what_it_says(self):
        for row, (name, arguments, result) in zip(table.FUNCTIONS, contract.FUNCTIONS):
            prototypes = [tuple(arguments)] if arguments is not None else None
            if prototypes is None:
                result, overloads = contract.OVERLOADS[name]
                prototypes = [tuple(kinds) for _, kinds in overloads]
            self.assertEqual(prototypes, list(row.prototypes), name)
            self.assertEqual(of_contract(result), of_table(row.result), name)

    def test_each_says_what_it_does(self):
        for row in table.FUNCTIONS:
            self.assertRegexpMatches(row.says, r'^[A-Z].*\.$', row.name)


class Package(unittest.TestCase):
    def test_it_has_what_the_functions_are_used_by(self):
        for row in table.FUNCTIONS:
            if row.layer:
                name, _, member = row.layer.partition('.')
                offered = getattr(vireon, name)
                self.assertTrue(not member or hasattr(offered, member), row)

    def test_the_stub_offers_what_it_offers(self):
        classes = [re.match(r'\w+', name).group() for name, _ in table.CLASSES]
        self.assertEqual(sorted(vireon.__all__), sorted(classes + stub_names(table.OTHERS)))

    def test_the_stub_gives_each_class_its_members(self):
        for name, members in table.CLASSES:
            offered = getattr(vireon, re.match(r'\w+', name).group())
            given = set(stub_names(members)) - set(['__init__'])
            # Made by each __init__.
            given -= set(['locations', 'answers', 'age']) if offered is vireon.Server else set()
            own = members_of(offered)
            if offered is vireon.Event:
                own = set(offered._fields)
            self.assertEqual(given, own, name)

    def test_the_stub_gives_each_function_its_arguments(self):
        functions = [(vireon, member) for member in table.OTHERS]
        for name, members in table.CLASSES:
            offered = getattr(vireon, re.match(r'\w+', name).group())
            functions += [(offered, member) for member in members]
        checked = 0
        for owner, member in functions:
            expected = stub_arguments(member)
            if expected:
                function = getattr(owner, stub_names([member])[0])
                found = inspect.getargspec(function)
                names = found.args + ([found.varargs] if found.varargs else [])
                self.assertEqual(expected, (names, len(found.defaults or ())), member)
                checked += 1
        self.assertGreater(checked, 40)


if __name__ == '__main__':
    unittest.main()
