g++ -std=c++17 user-interface.cpp $(pkg-config --cflags --libs applist) -o user-interface
