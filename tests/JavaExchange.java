// Generated pairs that the JDK and Z read and write alike, and what the JDK makes of Z's files.
//     java JavaExchange.java write FOLDER  jdk.pairs, z.pairs; jdk.properties holds the former
//     java JavaExchange.java read FOLDER   z.properties must hold z.pairs, and only those
// A line of a list of pairs is key and value in UTF-8 and hexadecimal, with a blank between them.
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HexFormat;
import java.util.Properties;
import java.util.Random;

class JavaExchange {
    static final HexFormat hex = HexFormat.of();
    static final Random random = new Random(5);

    static String text(String characters, int beyondASCII, int most) {
        StringBuilder text = new StringBuilder();
        for (int n = random.nextInt(most); n > 0; --n) {
            int c = random.nextInt(characters.length() + beyondASCII);
            // Beyond ASCII: any character of 16 bits but the halves of pairs.
            text.append(c < characters.length() ? characters.charAt(c)
                : random.nextBoolean() ? (char) (0x80 + random.nextInt(0xD800 - 0x80))
                                       : (char) (0xE000 + random.nextInt(0x2000)));
        }
        return text.toString();
    }

    // A number in each key; with this seed no two are equal.
    static Properties pairs(String inKeys, String inValues, String notInFront) {
        Properties pairs = new Properties();
        for (int n = 0; n < 3000; ++n) {
            String key = "k" + text(inKeys, 0, 12) + n + text(inKeys, 0, 4);
            String value = text(inValues, 20, n % 100 == 0 ? 3000 : 40);
            pairs.setProperty(key, value.replaceFirst("^[" + notInFront + "]+", ""));
        }
        return pairs;
    }

    static void list(Properties pairs, Path file) throws Exception {
        StringBuilder lines = new StringBuilder();
        pairs.forEach((key, value) -> {
            for (Object text : new Object[] {key, value}) {
                lines.append(hex.formatHex(((String) text).getBytes(StandardCharsets.UTF_8)));
                lines.append(text == key ? ' ' : '\n');
            }
        });
        Files.writeString(file, lines);
    }

    public static void main(String[] args) throws Exception {
        Path folder = Path.of(args[1]);
        String plain = "aZ09~$%&/()[]{}<>|*+-_.,;'\"?@^`";
        if (args[0].equals("write")) {
            // Z takes no escaped '#', '!', line end or tab, and in values no escaped '='.
            Properties jdk = pairs(plain + "=:\\ ", plain + ":\\ \u0001\u000B\u001F\u007F", "=");
            list(jdk, folder.resolve("jdk.pairs"));
            try (var out = new FileOutputStream(folder.resolve("jdk.properties").toFile())) {
                jdk.store(out, "two\nlines");
            }
            // Z escapes nothing in keys nor a blank in front, and cannot write DEL.
            list(pairs(plain + "#!", plain + "=#!:\\ \t\u0001\u000B\u001F", " \t\u000B"),
                folder.resolve("z.pairs"));
            return;
        }
        Properties expected = new Properties();
        for (String line : Files.readAllLines(folder.resolve("z.pairs"))) {
            String[] pair = line.split(" ", -1);
            expected.setProperty(new String(hex.parseHex(pair[0]), StandardCharsets.UTF_8),
                new String(hex.parseHex(pair[1]), StandardCharsets.UTF_8));
        }
        Properties z = new Properties();
        try (var in = new FileInputStream(folder.resolve("z.properties").toFile())) {
            z.load(in);
        }
        expected.forEach((key, value) -> {
            if (!value.equals(z.get(key)))
                System.out.println("'" + key + "' is '" + z.get(key) + "', not '" + value + "'");
        });
        if (expected.size() != 3000 || !z.equals(expected)) System.exit(1);
    }
}
