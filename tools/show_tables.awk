# Shows one saved table, on standard input, as a tree: the rules of a chain stand under the first
# rule that leads to it. What the product generated is marked with + and, if colours is set, green.
# Usage: awk -v title=TITLE [-v colours=1] -f show_tables.awk

/^:/ {
  name = substr($1, 2)
  chains[++chain_count] = name
  policy[name] = $2
}

/^-A / && $2 in policy {
  chain = $2
  sub(/^-A [^ ]+ ?/, "")
  rule[chain, ++rule_count[chain]] = $0
}

# The chain that a rule jumps or goes to, or nothing.
function leads_to(text,    words, count, i) {
  count = split(text, words, " ")
  for (i = 1; i < count; i++) {
    if ((words[i] == "-j" || words[i] == "-g") && words[i + 1] in policy) return words[i + 1]
  }
  return ""
}

# Deeper chains than 20 are not indented further: lines stay readable, and short.
function print_rule(text, depth, note,    generated, indent) {
  # A rule without matches begins with the marker itself.
  generated = sub(/^-m comment --comment ipt_compiler ?/, "", text) ||
              sub(/ -m comment --comment ipt_compiler/, "", text)
  indent = (depth < 20 ? depth : 20) * 3 - 2
  text = sprintf("  %s %" indent "s%s%s", generated ? "+" : " ", "", text, note)
  print generated && colours ? "\033[32m" text "\033[0m" : text
}

# Prints the rules of a chain and of every chain below it that was not shown yet. A chain can be as
# deep as the table is long, so the way back is kept in a list: no call of itself.
function print_chain(root,    way, at, depth, text, below, note) {
  way[depth = 1] = root
  at[1] = 0
  shown[root] = 1
  while (depth > 0) {
    if (at[depth] == rule_count[way[depth]]) {
      depth--
      continue
    }
    text = rule[way[depth], ++at[depth]]
    below = leads_to(text)
    note = below != "" && below in shown && rule_count[below] > 0 ? "  (shown above)" : ""
    print_rule(text, depth, note)
    if (below != "" && !(below in shown)) {
      shown[below] = 1
      way[++depth] = below
      at[depth] = 0
    }
  }
}

END {
  print title
  for (i = 1; i <= chain_count; i++) {
    name = chains[i]
    if (policy[name] == "-") continue
    heading = name " (policy " policy[name] ")"
    if (rule_count[name] > 0) {
      print "  " heading
      print_chain(name)
    } else {
      empty = empty (empty == "" ? "" : ", ") heading
    }
  }
  for (i = 1; i <= chain_count; i++) {
    name = chains[i]
    if (policy[name] == "-" && !(name in shown)) {
      print "  " name " (no rule leads here)"
      print_chain(name)
    }
  }
  if (empty != "") print "  without rules: " empty
}
