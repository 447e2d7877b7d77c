# The changes that the mutation check makes: each rule looks at the tokens of one C++ file and says
# which stretches of its text could be replaced by what. Rules work on text that clang-format has
# laid out, so a binary operator has blanks around it and a template bracket has none. They know no
# types: what does not compile is no mutant, and the run leaves it out.
import dataclasses
import re

TOKEN = re.compile(
    r'(?P<skip>\s+|//[^\n]*|/\*.*?\*/|(?m:^[ \t]*#[^\n]*))'
    r'|(?P<text>"(?:\\.|[^"\\])*")'
    r"|(?P<char>'(?:\\.|[^'\\])*')"
    r'|(?P<number>\d\w*)'
    r'|(?P<word>[A-Za-z_]\w*)'
    r'|(?P<sign><<|->|::|\+\+|--|&&|\|\||[-+*/%&|^!<>=]=|.)', re.S)

COMPARISONS = {'==': ['!='], '!=': ['=='], '<': ['<=', '>='], '<=': ['<', '>'],
               '>': ['>=', '<='], '>=': ['>', '<']}
SIGNS = {'+': '-', '-': '+', '+=': '-=', '-=': '+=', '++': '--', '--': '++'}
OPPOSITES = [('kNext', 'kNoMatch'), ('trueExit', 'falseExit'), ('first', 'last'), ('begin', 'end'),
             ('front', 'back'), ('push_front', 'push_back'), ('min', 'max'), ('next', 'noMatch'),
             ('lower_bound', 'upper_bound'), ('starts_with', 'ends_with'), ('true', 'false'),
             ('find_first_not_of', 'find_first_of'), ('ready_', 'pending_'), ('kInput', 'kForward'),
             ('predecessors', 'successors'), ('destination', 'source'), ('kThen', 'kElse'),
             ('kTarget', 'kMatches'), ('conjunction', 'disjunction'), ('body', 'otherwise')]
OPPOSITE = {a: b for pair in OPPOSITES for a, b in (pair, pair[::-1])}
# What no statement begins with that can be taken away.
NOT_REMOVABLE = set('if for while do else switch case default return break continue using struct '
                    'class enum template static const constexpr auto friend public private'.split())


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    start: int
    end: int
    replacement: str
    rule: str

    def apply(self, text):
        return text[:self.start] + self.replacement + text[self.end:]

    # The mutant by its lines, which stay the same when other places of the file change: file, the
    # lines of code above, the lines before the change and after it.
    def key(self, text):
        first = text.rfind('\n', 0, self.start) + 1
        last = text.find('\n', self.end)
        after = text[first:self.start] + self.replacement + text[self.end:last]
        above = [line for line in text[:first].split('\n') if line.strip()]
        lines = [self.file] + ['  ' + line.strip() for line in above[-2:]]
        lines += ['- ' + line.strip() for line in text[first:last].split('\n')]
        lines += ['+ ' + line.strip() for line in after.split('\n')]
        return '\n'.join(lines)


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int
    partner: int = -1      # of a bracket: the index of the other one
    block: bool = False    # of a "{": statements stand in it
    values: bool = False   # of a "{": a list of values


def tokenize(text):
    tokens = []
    for match in TOKEN.finditer(text):
        if match.lastgroup != 'skip':
            tokens.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
    opened = []
    for index, token in enumerate(tokens):
        if token.kind != 'sign':
            continue
        if token.text in '({[':
            opened.append(index)
            if token.text == '{':
                before = tokens[index - 1].text if index else ''
                head = ''.join(t.text + ' ' for t in tokens[max(0, index - 12):index])
                head = re.split(r'[;{}]', head)[-1]
                token.block = before in (')', ']', 'else', 'do', 'noexcept', 'const', 'override',
                                         ';', '}') or (before == '{' and tokens[index - 1].block)
                token.values = not token.block and not re.search(
                    r'\b(namespace|struct|class|enum)\b', head)
        elif token.text in ')}]':
            partner = opened.pop()
            token.partner, tokens[partner].partner = partner, index
    return tokens


class File:
    def __init__(self, name, text):
        self.name, self.text, self.tokens = name, text, tokenize(text)

    def mutants(self):
        found = {}
        for rule in (self.comparisons, self.logic, self.signs, self.negations, self.conditions,
                     self.constants, self.texts, self.opposites, self.returns, self.jumps,
                     self.alternatives, self.statements, self.arguments):
            for start, end, replacement in rule():
                mutant = Mutant(self.name, start, end, replacement, rule.__name__)
                changed = mutant.apply(self.text)
                if changed != self.text:
                    found.setdefault(changed, mutant)
        return list(found.values())

    # Two stretches of tokens, each from its first to its last, for each other.
    def swapped(self, first, last, other_first, other_last):
        start, end = self.tokens[first].start, self.tokens[other_last].end
        one, other = self.tokens[last].end, self.tokens[other_first].start
        return start, end, self.text[other:end] + self.text[one:other] + self.text[start:one]

    # The index after the token, or after the brackets that it opens.
    def behind(self, index):
        return max(index, self.tokens[index].partner) + 1

    # The index before the token, or before the brackets that it closes.
    def before(self, index):
        partner = self.tokens[index].partner
        return (partner if 0 <= partner < index else index) - 1

    def is_binary(self, token):
        return self.text[token.start - 1] == ' ' and self.text[token.end] in ' \n'

    def of_kind(self, kind):
        return [(i, t) for i, t in enumerate(self.tokens) if t.kind == kind]

    def comparisons(self):
        for _, t in self.of_kind('sign'):
            if t.text in COMPARISONS and self.is_binary(t):
                for other in COMPARISONS[t.text]:
                    yield t.start, t.end, other

    # && and || for each other, and without the one or the other operand.
    def logic(self):
        for i, t in self.of_kind('sign'):
            if t.text not in ('&&', '||') or not self.is_binary(t):
                continue
            yield t.start, t.end, '||' if t.text == '&&' else '&&'
            ends = ('&&', '||', ';', ',', '?', ':', '=', 'return')
            left, right = i - 1, i + 1
            while self.tokens[left].text not in ends + ('(', '{'):
                left = self.before(left)
            while self.tokens[right].text not in ends + (')', '}'):
                right = self.behind(right)
            yield self.tokens[left + 1].start, self.tokens[i + 1].start, ''
            yield self.tokens[i - 1].end, self.tokens[right - 1].end, ''

    def signs(self):
        for _, t in self.of_kind('sign'):
            if t.text in SIGNS and (t.text in ('++', '--') or self.is_binary(t)):
                yield t.start, t.end, SIGNS[t.text]

    def negations(self):
        for _, t in self.of_kind('sign'):
            if t.text == '!' and self.text[t.end] != ' ':
                yield t.start, t.end, ''

    # Conditions of "if" and "while", negated or constant.
    def conditions(self):
        for i, t in self.of_kind('word'):
            if t.text not in ('if', 'while') or self.tokens[i + 1].text != '(':
                continue
            first, last = i + 2, self.tokens[i + 1].partner - 1
            start, end = self.tokens[first].start, self.tokens[last].end
            yield start, end, '!(' + self.text[start:end] + ')'
            yield start, end, 'false'
            if t.text == 'if':
                yield start, end, 'true'

    def constants(self):
        for _, t in self.of_kind('number'):
            if t.text.startswith('0x'):
                yield t.start, t.end, hex(int(t.text, 16) ^ 1)
            elif t.text.isdigit():
                yield t.start, t.end, str(int(t.text) + 1)
                if t.text != '0':
                    yield t.start, t.end, str(int(t.text) - 1)

    # Without the last character; an empty text with one.
    def texts(self):
        for _, t in self.of_kind('text'):
            yield t.start, t.end, re.sub(r'(\\.|[^\\])"$', '"', t.text) if t.text != '""' else '"x"'
        for _, t in self.of_kind('char'):
            yield t.start, t.end, "'x'"

    def opposites(self):
        for i, t in self.of_kind('word'):
            if t.text in OPPOSITE and not self.is_declared(i):
                yield t.start, t.end, OPPOSITE[t.text]

    # Whether a type stands before the word: the name of something new.
    def is_declared(self, index):
        before = self.tokens[index - 1]
        if before.kind == 'word':
            return before.text not in ('return', 'throw', 'else', 'case')
        return before.text in '&*>' and not self.is_binary(before) and \
            self.text[self.tokens[index].start - 1] == ' '

    def returns(self):
        for i, t in self.of_kind('word'):
            if t.text == 'return' and self.tokens[i + 1].text not in (';', 'true', 'false'):
                start, end = self.tokens[i + 1].start, self.statement_end(i) - 1
                if self.text[start:end] not in ('0', 'nullptr', 'std::nullopt'):
                    yield start, end, '{}'

    def jumps(self):
        for i, t in self.of_kind('word'):
            if t.text in ('break', 'continue', 'return') and self.tokens[i + 1].text == ';':
                yield t.start, t.end, ''

    # The two outcomes of "condition ? one : other" for each other.
    def alternatives(self):
        for i, t in self.of_kind('sign'):
            if t.text != '?':
                continue
            colon = i
            while self.tokens[colon].text != ':':
                colon = self.behind(colon)
            end = colon
            while self.tokens[end].text not in (';', ',', ')', '}'):
                end = self.behind(end)
            yield self.swapped(i + 1, colon - 1, colon + 1, end - 1)

    # The end, after its ";", of the statement in which the token stands.
    def statement_end(self, index):
        while self.tokens[index].text != ';':
            index = self.behind(index)
        return self.tokens[index].end

    # Expression statements: taken away, and each in place of the one after it.
    def statements(self):
        before = None
        for i, t in enumerate(self.tokens):
            if not i or not self.begins_statement(i) or t.text in NOT_REMOVABLE or t.text in '{};':
                continue
            end = self.statement_end(i)
            statement = self.text[t.start:end]
            if re.match(r'[\w:<>,\s*&]+[\s&*>]\s*\w+\s*[=({;\[]', statement) and \
                    not re.search(r'^\w+ <<|^throw', statement):
                continue  # a declaration
            yield t.start, end, ';'
            if before and self.text[before[1]:t.start].strip() == '':
                gap = self.text[before[1]:t.start]
                yield before[0], end, statement + gap + self.text[before[0]:before[1]]
            before = (t.start, end)

    def begins_statement(self, index):
        before = self.tokens[index - 1]
        around = self.around(index)
        if around is None or not self.tokens[around].block:
            return False
        if before.text == ')':
            return self.tokens[before.partner - 1].text in ('if', 'for', 'while')
        return before.text in (';', '{', '}', 'else')

    # The index of the innermost bracket that is open at the token.
    def around(self, index):
        index -= 1
        while index >= 0 and self.tokens[index].partner < index:
            index = self.before(index)
        return index if index >= 0 else None

    # Two neighbouring arguments of a call, or values of a list, for each other.
    def arguments(self):
        for i, t in self.of_kind('sign'):
            if t.text == '{' and not t.values or t.text not in ('(', '{'):
                continue
            if t.text == '(' and not self.is_call(i):
                continue
            starts, j = [i + 1], i + 1
            while j < t.partner:
                if self.tokens[j].text == ',':
                    starts.append(j + 1)
                j = self.behind(j)
            ends = [s - 2 for s in starts[1:]] + [t.partner - 1]
            for k in range(len(starts) - 1):
                if starts[k + 1] <= ends[k + 1]:  # no comma at the end of a list
                    yield self.swapped(starts[k], ends[k], starts[k + 1], ends[k + 1])

    # Whether the "(" stands inside of code, after a name that is called.
    def is_call(self, index):
        before = self.tokens[index - 1]
        if before.kind != 'word' or before.text in ('if', 'for', 'while', 'catch'):
            return False
        outer = self.around(index)
        while outer is not None and not self.tokens[outer].block:
            outer = self.around(outer)
        return outer is not None
