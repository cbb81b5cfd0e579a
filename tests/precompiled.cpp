// Only there to give the precompiled headers of the tests a home.
