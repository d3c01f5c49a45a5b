// zstanza_test: the command as people and scripts meet it: every case runs the program.
// Subsystem: properties, layer 7. Test: tests/zstanza_test.cpp
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "ZTest.h"

namespace {

namespace fs = std::filesystem;
using ztest::read, ztest::write;

// A shell command in which `z` is the program, and what it is to do. Each case has its own folder.
struct Case {
    char const* command;
    int code;
    std::string out;
    std::string err = "";
};

struct ZStanza : testing::Test {
    void SetUp() override {
        fs::path program =
            fs::read_symlink("/proc/self/exe").parent_path() / "../src/zstanza/zstanza";
        ASSERT_TRUE(fs::exists(program)) << program;
        setenv("z", program.c_str(), 1);
        fs::current_path(folder_.path());
        write("f", original);
    }
    void TearDown() override { fs::current_path("/"); }

    static int shell(std::string const& command) {
        int status = std::system(("z() { \"$z\" \"$@\"; }; " + command).c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + status;
    }

    // The program's temporary and lock files, if it left any, would be here.
    void expect(Case const& c) {
        SCOPED_TRACE(c.command);
        EXPECT_EQ(c.code, shell("{ " + std::string(c.command) + "\n} >.out 2>.err"));
        EXPECT_EQ(c.out, read(".out"));
        EXPECT_EQ(c.err, read(".err"));
    }

    void expectAll(std::initializer_list<Case> cases) {
        for (Case const& c : cases) expect(c);
    }

    static constexpr char const* original =
        "# top\n"
        "\n"
        "[web]\n"
        "# port and so on\n"
        "listen=  0x1F\n"
        "listen = 010\n"
        "none =\n"
        "flag = Yes\n"
        "big = 99999999999\n"
        "\n"
        "[ a b ] tail\n"
        "-k = -v = w\n";
    ztest::Folder folder_;
};

TEST_F(ZStanza, Reads) {
    write("latin", "[s]\nk = caf\xe9\n");
    write("umlaut", "[s]\nk = \"\xc3\xbc\"\n");
    expectAll({
        {"z list f web", 0, "listen = 0x1F\nlisten = 010\nnone =\nflag = Yes\nbig = 99999999999\n"},
        {"z list f WEB", 1, "", "zstanza: f: no stanza [WEB]\n"},
        {"z get f web listen; z get f web listen --all", 0, "0x1F\n0x1F\n010\n"},
        {"z get f web listen --all --int; z get f web big --int; z get f web flag --bool", 0,
         "31\n8\n4294967295\nyes\n"},
        {"z get f web flag --int", 5, "", "zstanza: f: key flag of stanza [web]: no number: Yes\n"},
        {"z get f web listen --bool", 5, "",
         "zstanza: f: key listen of stanza [web]: no boolean value: 0x1F\n"},
        // A key without value: an empty text, no value in a list, and the default if any.
        {"z get f web none; z get f web none --int; z get f web none --bool", 0, "\n0\nno\n"},
        {"z get f web none --all; z get f web none --default d", 0, "d\n"},
        {"z get f web nowhere", 1, "", "zstanza: f: no key nowhere in stanza [web]\n"},
        {"z get f web nowhere --default -7 --all; z get f no k --int --default 0x10", 0,
         "-7\n16\n"},
        {"z get f web nowhere --default x --int", 2, "",
         "zstanza: f: key nowhere of stanza [web]: no number: x\n"},
        {"z get f web nowhere --default= --all; z get f --version | wc -l", 0, "\n1\n"},
        {"z get f -- ' a b ' -k", 0, "-v = w\n"},
        {"z get f web listen --json --int --all; z get f web flag --json --bool;"
         "z get umlaut s k --json",
         0, R"({"file":"f","stanza":"web","key":"listen","values":[31,8]}
{"file":"f","stanza":"web","key":"flag","value":true}
{"file":"umlaut","stanza":"s","key":"k","value":"\"ü\""}
)"},
        {"z get latin s k; z get latin s k --json", 5, "caf\xe9\n",
         "zstanza: latin: not text of the local codeset, so JSON cannot hold it: caf\\xe9\n"},
        // In the C locale that text of UTF-8 is none.
        {"env LC_ALL=C \"$z\" get umlaut s k --json | wc -c", 0, "0\n",
         "zstanza: umlaut: not text of the local codeset, so JSON cannot hold it: "
         "\"\\xc3\\xbc\"\n"},
        {"cp f \xe9; z list --json \xe9; cat f | z list /dev/stdin", 0,
         R"({"file":"\\xe9","stanzas":["web"," a b "]})"
         "\nweb\n a b \n"},
        {"env -u TISDIR \"$z\" get f web flag", 0, "Yes\n"},
    });
    EXPECT_EQ(original, read("f"));
}

TEST_F(ZStanza, ChangesAndKeepsTheRest) {
    write("f", "# top\n\n[s]\n#b = 0\n\na = 1\n");
    // A change, and the file after it.
    std::pair<std::string, char const*> const steps[] = {
        {"set f s a ' 2 '", "# top\n\n[s]\n#b = 0\n\na =  2 \n"},
        {"set f s b 3", "# top\n\n[s]\n#b = 0\nb = 3\n\na = 2\n"},
        {"add f s a 4", "# top\n\n[s]\n#b = 0\nb = 3\n\na = 2\na = 4\n"},
        {"add f s a 2", "# top\n\n[s]\n#b = 0\nb = 3\n\na = 2\na = 4\n"},
        {"comment f s a --text why", "# top\n\n[s]\n#b = 0\nb = 3\n\n#why\na = 2\na = 4\n"},
        {"set f s a ''", "# top\n\n[s]\n#b = 0\nb = 3\n\n#why\na =\n"},
        {"unset f s b", "# top\n\n[s]\n#b = 0\n\n#why\na =\n"},
        {"comment f --text '# --x'", "# top\n# --x\n\n[s]\n#b = 0\n\n#why\na =\n"},
        {"add f -- -t -k --", "# top\n# --x\n\n[s]\n#b = 0\n\n#why\na =\n\n[-t]\n-k = --\n"},
        {"comment f s --text=' c'",
         "# top\n# --x\n\n[s]\n#b = 0\n# c\n\n#why\na =\n\n[-t]\n-k = --\n"},
        {"unset f s", "# top\n# --x\n\n[-t]\n-k = --\n"},
    };
    for (auto const& [arguments, text] : steps) {
        SCOPED_TRACE(arguments);
        std::string before = read("f");
        EXPECT_EQ(0,
                  shell("set -- " + arguments + "; verb=$1; shift; z $verb --dry-run \"$@\" >dry"));
        EXPECT_EQ(before, read("f"));
        EXPECT_EQ(0, shell("z " + arguments));
        EXPECT_EQ(text, read("f"));
        EXPECT_EQ(text, read("dry"));
    }
}

TEST_F(ZStanza, RefusesAndLeavesTheFile) {
    write("bad", "[s]\na = 1\n[s] x\ty\n");
    write("nokey", "\n[s]\n  = 1 \n");
    write("text", "hello\x1b[31m\n");
    write("early", "a=b\n[s]\n"), write("open", "[s\n");
    fs::create_directory("folder");
    auto before = fs::last_write_time("f") - std::chrono::hours(1);
    fs::last_write_time("f", before);
    std::string const refused =
        "zstanza: f: the file could not hold this: no line end may stand in it, no \"]\" in a "
        "stanza's name, no \"=\" or outer blank in a key, no \"#\" or \"[\" before a key\n";
    std::string const bad = "bad:3: the stanza is there already: [s] x\\x09y\n";
    std::string const gone = "zstanza: gone: cannot be read: No such file or directory\n";
    expectAll({
        {"z unset f web nowhere", 1, "", "zstanza: f: no key nowhere in stanza [web]\n"},
        {"z unset f nowhere --dry-run", 1, "", "zstanza: f: no stanza [nowhere]\n"},
        {"z comment f web nowhere --text t", 1, "", "zstanza: f: no key nowhere in stanza [web]\n"},
        {"z set f web k=l v", 2, "", refused},
        {"z set new web '#k' v --create; [ -e new ]", 1, "", "zstanza: new" + refused.substr(10)},
        {"z comment f web --text= --dry-run", 2, "", "zstanza: --text must not be empty\n"},
        {"z add f web k ''", 2, "", "zstanza: VALUE: must not be empty\n"},
        {"z get f web ''", 2, "", "zstanza: KEY: must not be empty; see zstanza get --help\n"},
        {"z", 2, "", "zstanza: a verb is missing; see zstanza --help\n"},
        {"z lst f", 2, "", "zstanza: lst is no verb; see zstanza --help\n"},
        {"z get f web k --int --bool", 2, "",
         "zstanza: --int excludes --bool; see zstanza get --help\n"},
        {"z set gone s k v", 4, "",
         "zstanza: gone: cannot be opened for writing: No such file or directory\n"},
        {"z set gone s k v --dry-run", 4, "", gone},
        {"z set gone s k v --dry-run --create", 0, "\n[s]\nk = v\n"},
        {"mkfifo q; z check q /dev/zero", 4, "",
         "zstanza: q: is not a regular file\nzstanza: /dev/zero: is not a regular file\n"},
        {"z list folder", 4, "", "zstanza: folder: Is a directory\n"},
        {"z list f >/dev/full", 4, "", "zstanza: standard output: No space left on device\n"},
        {"z set f web k v --dry-run >&-", 4, "", "zstanza: standard output: Bad file descriptor\n"},
        {"mkfifo p; (exec 3<p; exec 3<&-) & exec 4>p; wait; z list f >&4", 4, "",
         "zstanza: standard output: Broken pipe\n"},
        {"z set bad s a 2", 3, "", bad},
        {"z check nokey text f early open", 3, "",
         "nokey:3: no key stands before \"=\": = 1\n"
         "text:1: neither comment, stanza nor key = value: hello\\x1b[31m\n"
         "early:1: the key stands before any stanza: a=b\n"
         "open:1: no \"]\" ends the stanza's name: [s\n"},
        {"z check f --json bad gone 2>/dev/null", 4,
         R"([{"file":"f","valid":true},{"file":"bad","valid":false,"message":")"
         R"(bad:3: the stanza is there already: [s] x\\x09y","line":3,"text":"[s] x\\x09y"},)"
         R"({"file":"gone","valid":null,"message":"zstanza: gone: cannot be read: )"
         R"(No such file or directory"}])"
         "\n"},
        {"cp bad ++; cp bad '[f,f]'; z check f ++ '[f,f]'", 3, "",
         "++" + bad.substr(3) + "[f,f]" + bad.substr(3)},
    });
    EXPECT_EQ(original, read("f"));
    EXPECT_EQ(before, fs::last_write_time("f"));  // not rewritten
}

TEST_F(ZStanza, HidesValuesInTheDatabase) {
    std::string const database = folder_ / "f.obf", key = "zstanza: f: key pw of stanza [web]";
    std::string const tooUniform =
        ": not changed: keys and obfuscated values repeat themselves so much that the database "
        "could not be loaded again; make values less alike, or keep some of them plain\n";
    std::string const unread = "zstanza: f: the database of its obfuscated values cannot be read: ";
    std::string const invalid = database + ": no valid database of the obfuscated values of f";
    std::string const pw = R"("key":"pw","values":["1 b","l\n\\\tü\u0001"],"obfuscated":true})";
    setenv("v", "l\n\\\tü\x01", 1);
    setenv("same", std::string(200, '#').c_str(), 1);
    expectAll({
        {"z set f web pw '1 b' --obfuscated; z add f web pw \"$v\" --obfuscated", 0, ""},
        // Nothing from here to "stat" writes to either file.
        {"touch -d @0 f f.obf; z list f web | tail -n 3", 0,
         "big = 99999999999\n# obfuscated: pw = 1 b\n# obfuscated: pw = l\\n\\\\\\tü\\001\n"},
        {"z get f web pw; z get f web pw --all --obfuscated", 0, "1 b\n1 b\nl\n\\\tü\x01\n",
         key + " is obfuscated\n"},
        {"z get f web pw --all --json; z list f web --json", 0,
         R"({"file":"f","stanza":"web",)" + pw +
             "\n"
             R"({"file":"f","stanza":"web","keys":[{"key":"listen","values":["0x1F","010"]},)"
             R"({"key":"none","values":[]},{"key":"flag","values":["Yes"]},)"
             R"({"key":"big","values":["99999999999"]},{)" +
             pw + "]}\n"},
        {"z get f web pw --int", 5, "", key + ": no number: an obfuscated value\n"},
        {"z add f web pw x", 2, "",
         key + " holds obfuscated values; use --obfuscated, or unset the key first\n"},
        {"z set f web flag x --obfuscated --dry-run", 2, "",
         "zstanza: f: key flag of stanza [web] holds plain values; leave out --obfuscated, or "
         "unset the key first\n"},
        {"z set f configuration-database file x --obfuscated", 2, "",
         "zstanza: f: key file of stanza [configuration-database] names the database and "
         "cannot be obfuscated\n"},
        {"z unset f configuration-database; z set s configuration-database file x --create", 2, "",
         "zstanza: f: stanza [configuration-database] names the database; it goes with the last "
         "obfuscated value\nzstanza: s: key file of stanza [configuration-database] names the "
         "database of obfuscated values, and there are none\n"},
        {"z comment f web pw --text t", 2, "",
         key + " is obfuscated: it has no line in the file to comment; comment the stanza\n"},
        {"z set f web pw $same --obfuscated --dry-run; z add f web pw $same --obfuscated;"
         "z set new s k $same --obfuscated --create",
         2, "",
         "zstanza: f" + tooUniform + "zstanza: f" + tooUniform + "zstanza: new" + tooUniform},
        {"z set f web pw other --obfuscated --dry-run >dry; cmp dry f; stat -c %Y f f.obf", 0,
         "0\n0\n"},
        {"mv f.obf g; z check f --json", 4,
         R"([{"file":"f","valid":null,"message":")" + unread + database +
             R"(: No such file or directory","database":")" + database + "\"}]\n",
         unread + database + ": No such file or directory\n"},
        {":>f.obf; z list f; rm f.obf; mkfifo f.obf; z get f web pw", 4, "",
         unread + database + ": is empty\n" + unread + database + ": is not a regular file\n"},
        {"rm f.obf; echo x >f.obf; z unset f web; z check f --json", 3,
         R"([{"file":"f","valid":false,"message":")" + invalid + R"(","database":")" + database +
             "\"}]\n",
         invalid + "\n" + invalid + "\n"},
        {"mv g f.obf; cp f g; sed -i 's/^.web.$/[x]/' f; z list f; cp g f", 0,
         "x\n a b \nconfiguration-database\nweb\n"},
        {"sed -i s/f.obf/f/ f; z set f web pw 2; cp g f", 0, "",
         folder_ / "f: no valid database of the obfuscated values of f\n"},
        {"z set f web pw ''; z set f web pw x; ls; diff f g", 1,
         "dry\nf\ng\n10d9\n< pw = x\n15a15\n> file = " + database + "\n"},
    });
}

TEST_F(ZStanza, AppliesAllChangesOrNone) {
    write("f", "[s]\na = 1\n");
    write("all", R"(# all of them
set s b 'x  y'

add s b "\"z\\"   # more
unset s a
comment s --text \#\ c
set 's t' k ''\''"'
set s -- -k -v
set s l 1\
2
)");
    char const* const after =
        "[s]\n# c\n\nb = x  y\nb = \"z\\\n-k = -v\nl = 12\n\n[s t]\nk = '\"\n";
    expectAll({
        {"z apply f all; cat f; cp f g", 0, after},
        {"printf 'set s b 1\\nunset s none\\n' >c; z apply f c", 1, "",
         "zstanza: c:2: f: no key none in stanza [s]\n"},
        {"printf 'set s b 1\\n\\nget s b' | z apply f", 2, "",
         "zstanza: /dev/stdin:3: get is none of set, add, unset, comment\n"},
        {"printf 'set s b 1\\nset s' >c; z apply f c", 2, "",
         "zstanza: c:2: KEY is required; see zstanza set --help\n"},
        {"printf \"set s b 'x\\n\" | z apply f", 2, "",
         "zstanza: /dev/stdin:1: the quote is not closed\n"},
        {"echo set s k v | z apply none; z apply f /; z apply - c", 2, "",
         "zstanza: none: cannot be opened for writing: No such file or directory\n"
         "zstanza: /: Is a directory\n"
         "zstanza: -: standard input is for list, get and check; ./- is a file of that name\n"},
        {"printf 'set s h \"a\\nb\" --obfuscated' | z apply new --create;"
         "z get new s h --obfuscated",
         0, "a\nb\n"},
        {"echo unset s | z apply f --diff; cmp f g", 0,
         "--- f\n+++ f (changed)\n@@ -1,10 +1,2 @@\n-[s]\n-# c\n-\n-b = x  y\n-b = \"z\\\n"
         "--k = -v\n-l = 12\n-\n [s t]\n k = '\"\n"},
        {"z set f s l 12 --diff; z set other s k v --create --diff; ls other", 2,
         "--- other\n+++ other (changed)\n@@ -0,0 +1,3 @@\n+\n+[s]\n+k = v\n",
         "ls: cannot access 'other': No such file or directory\n"},
    });
}

TEST_F(ZStanza, WritesForProgramsAndForTerminals) {
    expectAll({
        {"z list f -0 | od -An -c | tr -d ' \\n'; z list -0 f web | tr '\\0' '|'; "
         "z get f web listen --all -0 | tr '\\0' '|'",
         0, "web\\0ab\\0listen=0x1F|listen=010|none=|flag=Yes|big=99999999999|0x1F|010|"},
        {"z list f -0 --json", 2, "", "zstanza: --json excludes --null; see zstanza list --help\n"},
        {"cat f | z list - web | head -n 1; z get - web flag <f; z check - --json <f;"
         "echo x | z check -",
         3, "listen = 0x1F\nYes\n[{\"file\":\"/dev/stdin\",\"valid\":true}]\n",
         "/dev/stdin:1: neither comment, stanza nor key = value: x\n"},
        {"unset NO_COLOR; TERM=xterm script -qec '\"$z\" list f web | head -n 1; \"$z\" list f web'"
         " out </dev/null >seen; sed -n 2,3p out | cat -v",
         0, "listen = 0x1F^M\n^[[36mlisten^[[0m = 0x1F^M\n"},
    });
}

TEST_F(ZStanza, WatchesAFile) {
    expectAll({
        {"cp f g; z watch f --count 6 & sleep .3; z set f web flag 'a b'; sleep .2;"
         "z add f web flag c; sleep .2; rm f; sleep .2; z unset g web none; mv g f; sleep .2;"
         "z set f n k v --obfuscated; wait $!",
         0,
         "[web] flag = a b\n[web] flag = a b | c\n[web] none is gone\n[web] flag = Yes\n"
         "[n] k has an obfuscated value\n[configuration-database] file = " +
             folder_ / "f.obf\n",
         "zstanza: f: cannot be read: No such file or directory\n"},
        {"\"$z\" watch f --json & sleep .3; z unset f web flag; sleep .3; kill $!; wait $!", 0,
         R"({"file":"f","stanza":"web","key":"flag","values":null})"
         "\n"},
        {"z watch none", 4, "", "zstanza: none: cannot be read: No such file or directory\n"},
    });
}

TEST_F(ZStanza, WaitsForBusyFiles) {
    int held = open("f", O_RDWR | O_CLOEXEC);
    // Others have a record lock, or another zstanza is in the middle of a change.
    auto const lock = [&held](int records, int change) {
        struct flock whole = {};
        whole.l_type = static_cast<short>(records);
        ASSERT_EQ(0, fcntl(held, F_SETLK, &whole) + flock(held, change));
    };
    Case const get = {"z get f web flag --wait 0", 0, "Yes\n"};
    std::string const busy = "zstanza: f: in use by another program, waited 0 s\n";
    Case const busySet = {"z set f web k v --wait 0", 4, "", busy};
    lock(F_WRLCK, LOCK_UN);
    expectAll({{get.command, 4, "", busy}, busySet, {"z check f --wait 0", 4, "", busy}});
    lock(F_RDLCK, LOCK_UN);
    expectAll({get, busySet});
    lock(F_UNLCK, LOCK_EX);
    expectAll({get, {"z set f web k v --wait 0 --dry-run | wc -l", 0, "13\n"}, busySet});
    EXPECT_EQ(original, read("f"));

    // Replaced while somebody waits to begin, or to store: the change goes to the new file.
    for (bool begins : {true, false}) {
        begins ? lock(F_UNLCK, LOCK_EX) : lock(F_RDLCK, LOCK_UN);
        std::thread later([held] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            write("new", "[n]\n");
            fs::rename("new", "f");
            close(held);
        });
        expect({"z set f n k v", 0, ""});
        later.join();
        EXPECT_EQ("[n]\nk = v\n", read("f"));
        write("f", original);
        held = open("f", O_RDWR | O_CLOEXEC);
    }
    close(held);
}

// Eight at once, from a file that none of them finds: nothing is lost, nothing is left behind, and
// readers meanwhile see whole files only.
TEST_F(ZStanza, LosesNothingAmongSeveral) {
    char const* const script = R"(
        for i in 1 2 3 4 5 6 7 8; do (
            for n in $(seq 40); do
                v=$n; [ -z "$hidden" ] || v=$(echo $i-$n | md5sum)
                echo "$hidden"k$i-$n = "$v" >>said$i
                z set many s$((n % 3)) k$i-$n "$v" $option --create --wait 300 || break
            done
            touch done$i ) &
        done
        while [ ! -e done1 ]; do [ ! -e many ] || z check many --wait 300; done
        wait
        sort said* >.said; rm said* done?; ls
        for s in s0 s1 s2; do z list many $s; done | sort | cmp .said; rm many)";
    for (bool hides : {false, true}) {
        setenv("hidden", hides ? "# obfuscated: " : "", 1);
        setenv("option", hides ? "--obfuscated" : "", 1);
        expect({script, 0, hides ? "f\nmany\nmany.obf\n" : "f\nmany\n"});
    }
}

}  // namespace
