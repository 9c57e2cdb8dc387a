#!/usr/bin/env python3
"""Writes a bank statement of 20,000 rows as a bank of continental Europe would: windows-1252, semicolons, decimal commas,
days before months, money spent as negative numbers, and account and period above the table.

make_statement.py FILE: the same statement every time.
"""
import datetime
import random
import sys

FIRST_YEAR, YEARS = 2005, 20
# Category, number of rows, lowest and highest amount, payees. One row a month falls on the first day.
SPENDING = [
    ("Food/Groceries", 5000, 4, 120, ["Grünmarkt", "Épicerie du Coin", "Nordkauf", "Müller & Söhne", "Bäckerei Jäger"]),
    ("Food/Eating out", 3640, 3, 90, ["Café Zoë", "Trattoria Da Piero", "Noodle Bar", "La Crêperie", "Canteen"]),
    ("Transport/Public transport", 2900, 2, 60, ["City Transport", "Railways", "Night Bus"]),
    ("Transport/Car", 1600, 15, 240, ["Fuel & Go", "Garage Weiß", "City Parking"]),
    ("Home/Household", 2000, 5, 180, ["Hardware Store", "Drogerie am Platz", "Möbelhaus Lange"]),
    ("Home/Energy", 240, 90, 210, ["Municipal Utilities"]),
    ("Home/Rent", 240, 1180, 1180, ["Housing Association"]),
    ("Health", 1380, 5, 150, ["Pharmacy Löwen", "Dr. Núñez", "Optician"]),
    ("Leisure/Books and music", 1200, 5, 60, ["Bookshop Lesezeichen", "Record Store", "Online Books"]),
    ("Leisure/Travel", 800, 30, 900, ["Hôtel du Lac", "Air Europa Nova", "Hostel Översten"]),
    ("Clothes", 1000, 12, 220, ["Boutique Chloé", "Shoes & More", "Second Hand"]),
]
MEMOS = ["", "", "", "card payment", "direct debit; mandate 4711", 'thank you for "shopping" with us']


def quoted(text):
    return '"' + text.replace('"', '""') + '"' if ";" in text or '"' in text else text


def main():
    source = random.Random(20240701)
    first = datetime.date(FIRST_YEAR, 1, 1)
    days = (datetime.date(FIRST_YEAR + YEARS, 1, 1) - first).days
    rows = []
    for category, count, low, high, payees in SPENDING:
        for n in range(count):
            monthly = count == 12 * YEARS
            date = datetime.date(FIRST_YEAR + n // 12, n % 12 + 1, 1) if monthly else first + datetime.timedelta(
                source.randrange(days))
            cents = round(low * 100 + (high - low) * 100 * source.random() ** 2)
            amount = f"{cents // 100:,}".replace(",", ".") + f",{cents % 100:02}"
            sign = "" if not monthly and source.random() < 0.01 else "-"  # now and then money comes back
            currency = "CHF" if category == "Leisure/Travel" and source.random() < 0.4 else "EUR"
            memo = "standing order" if monthly else source.choice(MEMOS)
            rows.append((date, source.choice(payees), quoted(memo), category, sign + amount, currency))
    rows.sort()
    with open(sys.argv[1], "w", encoding="windows-1252", newline="\r\n") as file:
        file.write("Account;DE00 0000 0000 0012 3456 78;;;;\n")
        file.write(f"Period;{rows[0][0]:%d.%m.%Y} to {rows[-1][0]:%d.%m.%Y};;;;\n\n")
        file.write("Booked;Payee;Purpose;Category;Amount;Currency\n")
        for date, *texts in rows:
            file.write(f"{date:%d.%m.%Y};{';'.join(texts)}\n")


main()
