// Load and store of a properties file by the JDK, warmed: java JavaProperties.java FILE
// prints the median nanoseconds of each.
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.util.Arrays;
import java.util.Properties;

class JavaProperties {
    interface Work {
        void run() throws IOException;
    }

    static long median(Work work, long nanosecondsToWarm) throws IOException {
        long end = System.nanoTime() + nanosecondsToWarm;
        while (System.nanoTime() < end) work.run();
        long[] times = new long[101];
        for (int i = 0; i < times.length; ++i) {
            long start = System.nanoTime();
            work.run();
            times[i] = System.nanoTime() - start;
        }
        Arrays.sort(times);
        return times[times.length / 2];
    }

    public static void main(String[] args) throws IOException {
        Properties[] loaded = new Properties[1];
        long load = median(() -> {
            loaded[0] = new Properties();
            try (FileInputStream in = new FileInputStream(args[0])) {
                loaded[0].load(in);
            }
        }, 2_000_000_000L);
        long store = median(() -> {
            try (FileOutputStream out = new FileOutputStream(args[0] + ".jdk")) {
                loaded[0].store(out, null);
            }
        }, 2_000_000_000L);
        System.out.println(loaded[0].size() + " " + load + " " + store);
    }
}
