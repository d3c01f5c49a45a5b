# Completion of zstanza for fish: verbs, options, files, and the stanzas and keys of the named file.

# The verb and the operands typed so far, without the options.
function __zstanza_operands
    set -l skip 0
    set -l only 0
    for word in (commandline -opc)[2..-1]
        if test $skip = 1
            set skip 0
        else if test $only = 1; or not string match -q -- '-?*' $word
            string replace -r '^(~|\$HOME)/' $HOME/ -- $word
        else if test $word = --
            set only 1
        else if contains -- $word --wait --default --text --count
            set skip 1
        end
    end
end

# Whether the line has one of the verbs, and that many operands when a number comes first.
function __zstanza_has
    set -l operands (__zstanza_operands)
    if string match -q -r '^[0-9]$' $argv[1]
        test (count $operands) = (math $argv[1] + 1); or return
        set -e argv[1]
    end
    contains -- "$operands[1]" $argv
end

function __zstanza_begins
    not count (__zstanza_operands) >/dev/null
end

# The stanzas of the file on the line or, once a stanza stands there too, its keys.
function __zstanza_names
    set -l operands (__zstanza_operands)
    set -l names (zstanza list -0 --wait 0 -- $operands[2..-1] 2>/dev/null </dev/null | string split0)
    # Without "--" they would be taken for options.
    contains -- -- (commandline -opc); or set names (string match -v -- '-*' $names)
    string replace -r '(?s)=.*' '' -- $names
end

complete -c zstanza -f
complete -c zstanza -n '__zstanza_begins' -a list -d 'stanzas, or keys and values of one'
complete -c zstanza -n '__zstanza_begins' -a get -d 'first value of a key'
complete -c zstanza -n '__zstanza_begins' -a set -d 'give a key one value'
complete -c zstanza -n '__zstanza_begins' -a add -d 'add a value to those of a key'
complete -c zstanza -n '__zstanza_begins' -a unset -d 'remove a key or a stanza'
complete -c zstanza -n '__zstanza_begins' -a comment -d 'add a comment'
complete -c zstanza -n '__zstanza_begins' -a apply -d 'several changes, all or none'
complete -c zstanza -n '__zstanza_begins' -a check -d 'report faults of files'
complete -c zstanza -n '__zstanza_begins' -a watch -d 'print keys that change'

complete -c zstanza -n '__zstanza_has 0 list get set add unset comment apply watch' -F
complete -c zstanza -n '__zstanza_has check' -F
complete -c zstanza -n '__zstanza_has 1 apply' -F
complete -c zstanza -n '__zstanza_has 1 list get set add unset comment' -a '(__zstanza_names)'
complete -c zstanza -n '__zstanza_has 2 get set add unset comment' -a '(__zstanza_names)'

complete -c zstanza -n 'not __zstanza_begins' -l wait -x -d 'seconds to wait for a busy file'
complete -c zstanza -l help -d 'how to use it'
complete -c zstanza -l version -d 'the release'
complete -c zstanza -n '__zstanza_has list get check watch' -l json -d 'print JSON'
complete -c zstanza -n '__zstanza_has list get' -s 0 -l null -d 'NUL behind each result'
complete -c zstanza -n '__zstanza_has get' -l all -d 'every value'
complete -c zstanza -n '__zstanza_has get' -l int -d 'a decimal number'
complete -c zstanza -n '__zstanza_has get' -l bool -d 'yes or no'
complete -c zstanza -n '__zstanza_has get' -l default -x -d 'instead of a missing value'
complete -c zstanza -n '__zstanza_has get' -l obfuscated -d 'obfuscated values are expected'
complete -c zstanza -n '__zstanza_has set add' -l obfuscated -d 'keep the value in the database'
complete -c zstanza -n '__zstanza_has set apply' -l create -d 'make the file'
complete -c zstanza -n '__zstanza_has set add unset comment apply' -l dry-run -d 'print the text that would be stored'
complete -c zstanza -n '__zstanza_has set add unset comment apply' -l diff -d 'print how it would differ'
complete -c zstanza -n '__zstanza_has comment' -l text -x -d 'the comment'
complete -c zstanza -n '__zstanza_has watch' -l count -x -d 'end after so many lines'
