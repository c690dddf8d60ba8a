package com.corvane.cvx.transcoder.model;

/** Run in a fresh JVM by {@link NativeLibraryLoaderTest}: loads the library, uses it, says from where. */
public final class LoaderProbe {
    private LoaderProbe() {
    }

    public static void main(String[] args) {
        try {
            TranscoderSessionNative lib = new TranscoderSessionNative();
            lib.nativeInitialize();
            long session = lib.createInstance();
            if (session == 0 || lib.destroyInstance(session) != 0) {
                System.out.println("error: no session");
                System.exit(2);
            }
            System.out.println("loaded " + NativeLibraryLoader.loadedFrom());
        } catch (UnsatisfiedLinkError e) {
            System.out.println("error: " + e.getMessage());
            System.exit(3);
        }
    }
}
