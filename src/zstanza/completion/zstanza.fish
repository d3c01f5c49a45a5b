# Completion of zstanza for fish: verbs, options, files, and the stanzas and keys of the named file.

set -l verbs list get set add unset comment apply check watch

# The operands typed so far, without the verb and the options.
function __zstanza_operands
    set -l skip 0
    for word in (commandline -opc)[3..-1]
        if test $skip = 1
            set skip 0
        else if contains -- $word --wait --default --text --count
            set skip 1
        else if not string match -q -- '-*' $word
            echo $word
        end
    end
end

function __zstanza_wants -a number
    set -l operands (__zstanza_operands)
    test (count $operands) = $number
end

function __zstanza_stanzas
    set -l operands (__zstanza_operands)
    zstanza list -0 --wait 0 -- $operands[1] 2>/dev/null | string split0
end

function __zstanza_keys
    set -l operands (__zstanza_operands)
    zstanza list -0 --wait 0 -- $operands[1] $operands[2] 2>/dev/null | string split0 |
        string replace -r '=.*' '' | sort -u
end

complete -c zstanza -f
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a list -d 'stanzas, or keys and values of one'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a get -d 'first value of a key'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a set -d 'give a key one value'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a add -d 'add a value to those of a key'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a unset -d 'remove a key or a stanza'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a comment -d 'add a comment'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a apply -d 'several changes, all or none'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a check -d 'report faults of files'
complete -c zstanza -n "not __fish_seen_subcommand_from $verbs" -a watch -d 'print keys that change'

complete -c zstanza -n "__fish_seen_subcommand_from $verbs; and __zstanza_wants 0" -F
complete -c zstanza -n '__fish_seen_subcommand_from check' -F
complete -c zstanza -n '__fish_seen_subcommand_from apply; and __zstanza_wants 1' -F
complete -c zstanza -n '__fish_seen_subcommand_from list get set add unset comment; and __zstanza_wants 1' -a '(__zstanza_stanzas)'
complete -c zstanza -n '__fish_seen_subcommand_from get set add unset comment; and __zstanza_wants 2' -a '(__zstanza_keys)'

complete -c zstanza -n "__fish_seen_subcommand_from $verbs" -l wait -x -d 'seconds to wait for a busy file'
complete -c zstanza -l help -d 'how to use it'
complete -c zstanza -l version -d 'the release'
complete -c zstanza -n '__fish_seen_subcommand_from list get check watch' -l json -d 'print JSON'
complete -c zstanza -n '__fish_seen_subcommand_from list get' -s 0 -l null -d 'NUL behind each result'
complete -c zstanza -n '__fish_seen_subcommand_from get' -l all -d 'every value'
complete -c zstanza -n '__fish_seen_subcommand_from get' -l int -d 'a decimal number'
complete -c zstanza -n '__fish_seen_subcommand_from get' -l bool -d 'yes or no'
complete -c zstanza -n '__fish_seen_subcommand_from get' -l default -x -d 'instead of a missing value'
complete -c zstanza -n '__fish_seen_subcommand_from get set add' -l obfuscated -d 'values of the database'
complete -c zstanza -n '__fish_seen_subcommand_from set apply' -l create -d 'make the file'
complete -c zstanza -n '__fish_seen_subcommand_from set add unset comment apply' -l dry-run -d 'print the text that would be stored'
complete -c zstanza -n '__fish_seen_subcommand_from set add unset comment apply' -l diff -d 'print how it would differ'
complete -c zstanza -n '__fish_seen_subcommand_from comment' -l text -x -d 'the comment'
complete -c zstanza -n '__fish_seen_subcommand_from watch' -l count -x -d 'end after so many lines'
