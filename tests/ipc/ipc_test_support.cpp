// The queue helpers are defined in the shared test support (quorix_test.cpp).
